// SPDX-License-Identifier: LGPL-2.1-or-later
#include "interrupt.h"

#include <atomic>
#include <string_view>

#include <unistd.h>

namespace tavocam {
namespace {

std::atomic<int> remembered{0};
std::atomic<int> deferrals{0};
static_assert(std::atomic<int>::is_always_lock_free,
              "a signal handler may touch lock-free objects only");

extern "C" void onSignal(int signal) {
    int none = 0;
    remembered.compare_exchange_strong(none, signal);
    if (deferrals > 0)
        return;
    constexpr std::string_view kMessage = "\ntavocam: interrupted\n";
    // The process ends whether or not somebody can still read this.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kMessage.data(), kMessage.size());
    _exit(128 + signal);
}

void handle(int signal, struct sigaction& former) {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, &former);
}

} // namespace

SignalHandlers::SignalHandlers() {
    remembered = 0;
    handle(SIGINT, formerInterrupt);
    handle(SIGTERM, formerTerminate);
    handle(SIGHUP, formerHangUp);
    // Started by nohup: the exposure is meant to outlive its terminal.
    if (formerHangUp.sa_handler == SIG_IGN)
        sigaction(SIGHUP, &formerHangUp, nullptr);
}

SignalHandlers::~SignalHandlers() {
    sigaction(SIGINT, &formerInterrupt, nullptr);
    sigaction(SIGTERM, &formerTerminate, nullptr);
    sigaction(SIGHUP, &formerHangUp, nullptr);
    remembered = 0;
}

SignalsDeferred::SignalsDeferred() {
    ++deferrals;
}

SignalsDeferred::~SignalsDeferred() {
    --deferrals;
}

int rememberedSignal() {
    return remembered;
}

} // namespace tavocam
