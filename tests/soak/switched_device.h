// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera whose faults can be switched on and off while it is plugged in.
#pragma once

#include "faults/faulty_device.h"
#include "usb/device.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tavo::soak {

struct FaultSwitch {
    std::atomic<bool> on{false};
    std::atomic<bool> away{false};        // unplugged by itself, and not back
    std::atomic<std::uint32_t> served{0}; // requests, of the camera in this state
};

// The log, told of each fault, is called by the thread that serves the bus.
std::unique_ptr<virtualusb::Device> makeSwitchedDevice(std::unique_ptr<virtualusb::Device> camera,
                                                       const virtualusb::FaultPlan& plan,
                                                       std::shared_ptr<FaultSwitch> faults,
                                                       std::function<void(const std::string&)> log);

} // namespace tavo::soak
