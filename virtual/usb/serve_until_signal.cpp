// SPDX-License-Identifier: LGPL-2.1-or-later
#include "serve_until_signal.h"

namespace tavo::virtualusb {

int serveUntilSignal(const HeldSignals& signals) {
    for (;;) {
        const int signal = sigwaitinfo(&signals.set(), nullptr);
        if (signal > 0 && signal != SIGCHLD)
            return signal;
    }
}

} // namespace tavo::virtualusb
