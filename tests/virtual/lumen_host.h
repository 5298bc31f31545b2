// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that speaks to a virtual Lumen camera in bytes.
#pragma once

#include "lumen/lumen.h"
#include "raw_host.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tavo::virtualcamera::test {

// All that the family offers, on a sensor of 320 x 240 pixels.
Model smallLumen();

Bytes engineTable();
Bytes lumenTable();

// What a host asks for in command 6; numbers have their high byte first.
struct LumenReadout {
    std::uint16_t code = 0;
    std::uint8_t bin = 1;
    std::uint16_t x = 0;
    std::uint16_t y = 0;
    std::uint16_t width = 320;
    std::uint16_t height = 240;
    std::uint8_t flags = 0;
    std::uint8_t kind = 0x43;
};

class LumenHost : public RawHost {
public:
    explicit LumenHost(const Model& model = smallLumen(), double speed = 1.0)
        : RawHost(model, makeLumenElectronics, speed) {}

    bool setLineDirection(unsigned line, bool output);
    bool setLineState(unsigned line, bool level);
    bool initSerialPort();
    // Tables, lines and serial port, so that commands reach the camera.
    void reach();
    void startApplication();
    void bringUp();

    // As many bytes come back as go out.
    std::optional<Bytes> exchange(const Bytes& bytes);
    // A command packet; nothing when it does not come back as it went out, or when the camera says
    // in its log that it has refused it.
    std::optional<Bytes> send(std::uint8_t number, const Bytes& arguments = {},
                              std::size_t answerBytes = 0);

    // Up to the start of an exposure.
    bool beginExposure();
    bool readOut(const LumenReadout& readout);
    // Exposes and fetches the words as they come.
    std::vector<std::uint16_t> picture(double seconds, const LumenReadout& readout = {});
    // What the camera times itself. Patience included.
    std::vector<std::uint16_t> timedPicture(std::uint16_t code, LumenReadout readout = {});
};

} // namespace tavo::virtualcamera::test
