// SPDX-License-Identifier: LGPL-2.1-or-later
#include "interrupt.h"

#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace tavocam;

namespace {

// Ends this process with the remembered signal's number.
void deferAndReport(int signal) {
    const SignalHandlers handlers;
    const SignalsDeferred deferred;
    std::raise(signal);
    _exit(rememberedSignal());
}

void raiseTwice() {
    const SignalHandlers handlers;
    const SignalsDeferred deferred;
    std::raise(SIGTERM);
    std::raise(SIGINT);
    _exit(rememberedSignal());
}

void raiseAfterAnInnerDeferral() {
    const SignalHandlers handlers;
    const SignalsDeferred deferred;
    { const SignalsDeferred inner; }
    std::raise(SIGINT);
    _exit(rememberedSignal());
}

void raiseUndeferred(int signal) {
    const SignalHandlers handlers;
    { const SignalsDeferred deferred; }
    std::raise(signal);
    _exit(0);
}

void raiseUnderNohup() {
    std::signal(SIGHUP, SIG_IGN);
    const SignalHandlers handlers;
    std::raise(SIGHUP);
    _exit(55);
}

} // namespace

TEST(InterruptDeathTest, EndsTheProcessWhileNothingIsAtStake) {
    EXPECT_EXIT(raiseUndeferred(SIGINT), testing::ExitedWithCode(130), "tavocam: interrupted");
    EXPECT_EXIT(raiseUndeferred(SIGTERM), testing::ExitedWithCode(143), "");
    EXPECT_EXIT(raiseUndeferred(SIGHUP), testing::ExitedWithCode(129), "");
}

TEST(InterruptDeathTest, IsRememberedWhileDeferred) {
    EXPECT_EXIT(deferAndReport(SIGINT), testing::ExitedWithCode(SIGINT), "");
    EXPECT_EXIT(deferAndReport(SIGTERM), testing::ExitedWithCode(SIGTERM), "");
}

TEST(InterruptDeathTest, TheFirstOneIsRemembered) {
    EXPECT_EXIT(raiseTwice(), testing::ExitedWithCode(SIGTERM), "");
}

TEST(InterruptDeathTest, DeferralsNest) {
    EXPECT_EXIT(raiseAfterAnInnerDeferral(), testing::ExitedWithCode(SIGINT), "");
}

TEST(InterruptDeathTest, HangUpIsIgnoredUnderNohup) {
    EXPECT_EXIT(raiseUnderNohup(), testing::ExitedWithCode(55), "");
}

TEST(Interrupt, IsForgottenWithItsHandlers) {
    {
        const SignalHandlers handlers;
        const SignalsDeferred deferred;
        std::raise(SIGINT);
        EXPECT_EQ(rememberedSignal(), SIGINT);
    }
    EXPECT_EQ(rememberedSignal(), 0);
}

TEST(Interrupt, HandlersAreRestored) {
    struct sigaction before {};
    struct sigaction after {};
    sigaction(SIGINT, nullptr, &before);
    { const SignalHandlers handlers; }
    sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}
