// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cameras.h"
#include "runs.h"
#include "usb/bus.h"
#include "usb/environment.h"
#include "usb/serve_until_signal.h"

#include <cstdio>

#include <utility>

namespace tavo::virtualcamera {

int runTestbed(const Options& options) {
    // Before the bus starts its thread, which would take the signals otherwise.
    const virtualusb::HeldSignals signals;
    virtualusb::Bus bus({.transferMemory = std::uint64_t{options.usbfsMemory} << 20});
    for (auto& device : makeCameras(options))
        bus.plug(std::move(device));
    if (options.command.empty()) {
        std::fputs(virtualusb::shellLines(bus.environment()).c_str(), stdout);
        std::fflush(stdout);
        virtualusb::serveUntilSignal(signals);
        return 0;
    }
    return runToEnd(options.command, bus.environment(), signals);
}

} // namespace tavo::virtualcamera
