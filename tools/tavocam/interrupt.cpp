// SPDX-License-Identifier: LGPL-2.1-or-later
#include "interrupt.h"

#include <atomic>
#include <unistd.h>

namespace tavocam {
namespace {

std::atomic<int> remembered{0};
std::atomic<bool> deferred{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler may touch lock-free objects only");

extern "C" void onSignal(int signal) {
    const bool second = remembered.exchange(signal) != 0;
    if (second || !deferred)
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
}

SignalsDeferred::SignalsDeferred() {
    deferred = true;
}

SignalsDeferred::~SignalsDeferred() {
    deferred = false;
}

SignalsBlocked::SignalsBlocked() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &former);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

int rememberedSignal() {
    return remembered;
}

} // namespace tavocam
