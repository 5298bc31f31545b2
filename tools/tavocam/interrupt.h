// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_INTERRUPT_H
#define TAVOCAM_INTERRUPT_H

#include <csignal>

namespace tavocam {

// Catches SIGINT, SIGTERM and SIGHUP while it lives. Unless signals are deferred, a signal says so
// on standard error and ends the process at once with exit code 128 plus its number: opening a
// camera can block without end, and the kernel closes the device.
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

// While one lives, in any thread, signals are only remembered: an exposure can be aborted and the
// shutter closed, and a file that is being written is finished. Blocking them instead would serve
// one thread only, and libraries have threads of their own. Whoever defers asks for the remembered
// signal afterwards.
class SignalsDeferred {
public:
    SignalsDeferred();
    ~SignalsDeferred();
    SignalsDeferred(const SignalsDeferred&) = delete;
    SignalsDeferred& operator=(const SignalsDeferred&) = delete;
};

// The first of the remembered signals, 0 when there was none.
int rememberedSignal();

} // namespace tavocam

#endif
