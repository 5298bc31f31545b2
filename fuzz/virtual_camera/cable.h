// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A libusb with one virtual camera at the end of its cable, and no bus between: transfers go
// straight into the device, and waiting moves the camera's clock.
#pragma once

#include "controller/clock.h"
#include "usb/device.h"

#include <cstdint>

namespace tavo::fuzz {

// What a host has to find true of every answer.
virtualusb::Reply checkedRead(virtualusb::Device& device, std::uint8_t endpoint,
                              std::uint32_t length);

class Cable {
public:
    // `hostTime` moves with the clock. All outlive the cable.
    Cable(virtualusb::Device& plugged, virtualcamera::ManualClock& time, std::uint64_t& hostTime);
    ~Cable();
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    void wait(std::uint64_t microseconds);
    std::uint64_t microseconds() const { return hostTime; }
    // After that many transfers the device is gone: some loops of a driver last as long as the
    // camera wants them to.
    void allow(unsigned transfers) { left = transfers; }
    bool isGivenUp() const { return left == 0; }

    // A libusb error, or what was moved.
    int bulk(std::uint8_t endpoint, unsigned char* data, std::uint32_t length,
             std::uint32_t milliseconds);
    int control(const virtualusb::SetupPacket& setup, unsigned char* data,
                std::uint32_t milliseconds);
    int select(unsigned setting);

private:
    template <typename Ask>
    int settle(std::uint8_t endpoint, std::uint32_t milliseconds, Ask ask);

    virtualusb::Device& device;
    virtualcamera::ManualClock& clock;
    std::uint64_t& hostTime;
    unsigned left = 0;
    // The driver's own numbers go on for the life of the process; an input has to mean the same
    // every time.
    std::uint8_t transaction = 0;
};

// The one that the functions of libusb end in.
Cable* cable();

} // namespace tavo::fuzz
