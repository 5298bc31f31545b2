// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "run_command.h"

namespace tavo::virtualusb {

// Waits, while other threads serve, until this program is asked to end: by SIGINT, SIGTERM, SIGHUP
// or SIGQUIT. Returns the signal.
int serveUntilSignal(const HeldSignals& signals);

} // namespace tavo::virtualusb
