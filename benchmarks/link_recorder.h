// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Stands between the driver and libusb, and between the driver and usleep: what is asked of them is
// passed on, noted, and its time added up. The driver finds these functions before the real ones,
// since they are the program's own.
#pragma once

#include <libusb.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tavo::bench {

// A transfer, or a pause.
struct Step {
    enum class Kind { bulk, control, pause };
    Kind kind = Kind::pause;
    std::uint8_t endpoint = 0; // of a control transfer: its request type
    std::uint8_t request = 0;
    std::uint16_t value = 0, index = 0;
    int length = 0;                   // asked for
    int moved = 0;                    // or the error
    std::vector<std::uint8_t> data{}; // what was sent; what came is kept when short
    unsigned timeout = 0;
    unsigned microseconds = 0; // of a pause

    bool towardsHost() const { return (endpoint & LIBUSB_ENDPOINT_IN) != 0; }
};

struct LinkTimes {
    double transfers = 0; // seconds spent in libusb
    double pauses = 0;    // seconds asked for
    unsigned transferCount = 0, pauseCount = 0;
};

class LinkRecorder {
public:
    std::vector<Step> steps;
    LinkTimes times;
    libusb_device_handle* handle = nullptr; // of the camera opened last
    bool recording = false;

    void restart();
};

LinkRecorder& linkRecorder();

// Does what was recorded once more, without the driver; what comes goes to `buffer`, one transfer
// behind the other. REQUIRES: room for all of it. False when a transfer brings other than it did.
bool replay(std::vector<Step>& steps, libusb_device_handle* handle, unsigned char* buffer);

std::size_t bytesToHost(const std::vector<Step>& steps);

} // namespace tavo::bench
