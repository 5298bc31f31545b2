// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What tavo-virtual does, by where it plugs its cameras in. Each returns the exit status of the
// program and throws std::exception with a text for the user.
#pragma once

#include "options.h"
#include "usb/run_command.h"

namespace tavo::virtualcamera {

// A testbed that one command lives in.
int runTestbed(const Options& options);
// A USB/IP server that other computers, or this one, attach cameras from.
int runUsbip(const Options& options);
// The kernel of this computer.
int runVhci(const Options& options);

// Runs the command of the options to its end. Its status is that of env(1) when it cannot be run.
int runToEnd(const std::vector<std::string>& command, const std::vector<std::string>& environment,
             const virtualusb::HeldSignals& signals);

// Runs the command of the options with this program's environment, or waits for a signal that ends
// the program when there is none.
int runOrWait(const Options& options, const virtualusb::HeldSignals& signals);

// The signal that was sent to end this program, 0 when there was none within so many milliseconds.
int awaitEndingSignal(int milliseconds);

} // namespace tavo::virtualcamera
