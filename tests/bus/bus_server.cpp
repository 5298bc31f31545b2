// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A program that serves a bus with one loopback device until a signal ends it. It prints the lines
// that a shell needs, and an empty one after them.
#include "loopback_device.h"
#include "usb/bus.h"
#include "usb/environment.h"
#include "usb/serve_until_signal.h"

#include <cstdio>

int main() {
    using namespace tavo;
    const virtualusb::HeldSignals signals;
    virtualusb::Bus bus;
    bus.plug(bustest::makeLoopback());
    std::printf("%s\n", virtualusb::shellLines(bus.environment()).c_str());
    std::fflush(stdout);
    return virtualusb::serveUntilSignal(signals);
}
