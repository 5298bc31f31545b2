// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_INTERRUPT_H
#define TAVOCAM_INTERRUPT_H

#include <csignal>

namespace tavocam {

// Catches SIGINT, SIGTERM and SIGHUP while it lives. Unless signals are deferred, a signal ends
// the process at once with exit code 128 plus its number: opening a camera can block without end,
// and the kernel closes the device.
class SignalHandlers {
public:
    SignalHandlers();
    ~SignalHandlers();
    SignalHandlers(const SignalHandlers&) = delete;
    SignalHandlers& operator=(const SignalHandlers&) = delete;

private:
    struct sigaction formerInterrupt {};
    struct sigaction formerTerminate {};
    struct sigaction formerHangUp {};
};

// While it lives the first signal is only remembered, so that an exposure can be aborted and the
// shutter closed; a second signal ends the process at once.
class SignalsDeferred {
public:
    SignalsDeferred();
    ~SignalsDeferred();
    SignalsDeferred(const SignalsDeferred&) = delete;
    SignalsDeferred& operator=(const SignalsDeferred&) = delete;
};

// Holds all of these signals back, also a second one: a file is being written.
class SignalsBlocked {
public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t former{};
};

// The remembered signal, 0 when there was none.
int rememberedSignal();

} // namespace tavocam

#endif
