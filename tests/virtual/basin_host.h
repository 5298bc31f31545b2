// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that speaks to a Basin camera in bytes.
#pragma once

#include "raw_host.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tavo::virtualcamera::test {

// Columns and rows from 0 and a size, as a user thinks of them.
struct Region {
    std::uint16_t x;
    std::uint16_t y;
    std::uint16_t width;
    std::uint16_t height;
};

// A small mono one with a 12-bit thermometer and a regulated cooler; tests change what they need.
Model smallBasin();

class BasinHost : public RawHost {
public:
    explicit BasinHost(const Model& model = smallBasin(), double speed = 1.0);

    // Firmware, ports, time-outs and both tables of the link.
    void startLink();
    // Everything up to a running application.
    void bringUp();

    // "VRQ", number and arguments to the camera's address on the I2C bus.
    bool send(std::uint8_t number, const Bytes& arguments = {});
    // The even bytes of `reply` bytes of the link.
    std::optional<Bytes> query(std::uint8_t number, const Bytes& arguments, std::uint32_t reply);
    std::optional<Bytes> readPlain(std::uint32_t length);

    void startExposure();
    // Commands 66 and 2, with the pause between them.
    void endExposure();
    bool readOut(std::uint8_t code, std::uint8_t bin, const Region& region,
                 std::uint8_t preview = 0);
    // `seconds` includes the two of the sweep. The image is empty when there is none.
    std::vector<std::uint16_t> image(double seconds, std::uint8_t bin, const Region& region);
    std::vector<std::uint16_t> timedImage(std::uint8_t code, const Region& region);
};

// The tables of the parallel link that Basin cameras need, as the host's documents give them.
Bytes basinModeTable();
Bytes basinHandshakeTable();

} // namespace tavo::virtualcamera::test
