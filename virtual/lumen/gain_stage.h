// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The gain stage of the Lumen cameras: an amplifier and an offset between the sensor and
// the converter, set for normal and for preview readout by one block of settings.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

class GainStage {
public:
    static constexpr std::size_t kBlockBytes = 16;
    static constexpr std::size_t kWriteBytes = kBlockBytes + 2;

    struct Half {
        unsigned gain;      // 0 to 63
        unsigned rawOffset; // 0 to 255 up from the middle, 256 to 512 down from it
        bool operator==(const Half&) const = default;
    };

    // As after the application's start.
    void reset();

    // The settings, or a block that says that they are still on their way from the chip. Only
    // asking for them brings them nearer.
    std::vector<std::uint8_t> block();
    bool ready() const { return readsToCome == 0; }
    // Takes a block with its leading word. Returns what is wrong with it, and empty when it is in
    // force.
    std::string write(std::span<const std::uint8_t> bytes);

    const Half& half(bool preview) const { return halves[preview ? 1 : 0]; }
    // Over the amplification, and above the offset in digital units, that the sensor's own gain and
    // bias were measured with.
    double amplification(bool preview) const;
    double offset(bool preview) const;

private:
    static constexpr Half kNormal{20, 24};
    static constexpr Half kPreview{28, 272};
    static constexpr unsigned kReadsUntilReady = 3;

    std::array<Half, 2> halves{kNormal, kPreview};
    unsigned readsToCome = kReadsUntilReady;
};

} // namespace tavo::virtualcamera
