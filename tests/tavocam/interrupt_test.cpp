// SPDX-License-Identifier: LGPL-2.1-or-later
#include "interrupt.h"

#include <csignal>
#include <cstdio>

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
    std::raise(SIGINT);
    std::raise(SIGTERM);
    _exit(0);
}

void raiseWhileBlocked() {
    const SignalHandlers handlers;
    {
        const SignalsBlocked blocked;
        std::raise(SIGINT);
        std::fputs("still here", stderr);
    }
    _exit(0);
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
    EXPECT_EXIT(raiseUndeferred(SIGINT), testing::ExitedWithCode(130), "");
    EXPECT_EXIT(raiseUndeferred(SIGTERM), testing::ExitedWithCode(143), "");
    EXPECT_EXIT(raiseUndeferred(SIGHUP), testing::ExitedWithCode(129), "");
}

TEST(InterruptDeathTest, IsRememberedWhileDeferred) {
    EXPECT_EXIT(deferAndReport(SIGINT), testing::ExitedWithCode(SIGINT), "");
    EXPECT_EXIT(deferAndReport(SIGTERM), testing::ExitedWithCode(SIGTERM), "");
}

TEST(InterruptDeathTest, ASecondOneEndsTheProcess) {
    EXPECT_EXIT(raiseTwice(), testing::ExitedWithCode(143), "");
}

TEST(InterruptDeathTest, WaitsWhileAFileIsWritten) {
    EXPECT_EXIT(raiseWhileBlocked(), testing::ExitedWithCode(130), "still here");
}

TEST(InterruptDeathTest, HangUpIsIgnoredUnderNohup) {
    EXPECT_EXIT(raiseUnderNohup(), testing::ExitedWithCode(55), "");
}

TEST(Interrupt, HandlersAreRestored) {
    struct sigaction before {};
    struct sigaction after {};
    sigaction(SIGINT, nullptr, &before);
    { const SignalHandlers handlers; }
    sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}
