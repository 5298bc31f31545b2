// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The readout requests of the families that take commands: for an exposure that the host timed and
// now ends, and for a short one that the camera times.
#pragma once

#include "exposure/exposure_code.h"
#include "exposure/region.h"
#include "link/bytes.h"

namespace tavo {

struct ReadoutModes {
    bool preview = false;
    bool eightBit = false;
    bool darkFrame = false;
};

using BasinReadout = std::array<std::uint8_t, 13>;
using RidgeReadout = std::array<std::uint8_t, 16>;
using LumenReadout = std::array<std::uint8_t, 16>;

// Little-endian. Coordinates count from 1; the ends lie one past the last column and row.
constexpr BasinReadout basinTimedReadout(const Region& r, const ReadoutModes& modes,
                                         std::uint32_t code) {
    return Payload<13>{}
        .u8(code)
        .u8(r.xBin)
        .u8(r.yBin)
        .u16le(r.x + 1)
        .u16le(r.y + 1)
        .u16le(r.x + r.width + 1)
        .u16le(r.y + r.height + 1)
        .u8(modes.preview)
        .u8(3)
        .done();
}

constexpr BasinReadout basinReadout(const Region& r, const ReadoutModes& modes) {
    return basinTimedReadout(r, modes, 0);
}

// Little-endian words; the last one holds flags.
constexpr RidgeReadout ridgePayload(const Region& r, std::uint32_t code, std::uint32_t flags) {
    return Payload<16>{}
        .u16le(code)
        .u16le(r.xBin)
        .u16le(r.yBin)
        .u16le(r.x)
        .u16le(r.y)
        .u16le(r.width)
        .u16le(r.height)
        .u16le(flags)
        .done();
}

constexpr std::uint32_t kRidgeReadoutFlags = 0x43;

constexpr std::uint32_t ridgePreviewFlag(const ReadoutModes& modes) {
    return modes.preview ? 0x100 : 0;
}

constexpr RidgeReadout ridgeReadout(const Region& r, const ReadoutModes& modes) {
    return ridgePayload(r, 0, kRidgeReadoutFlags | ridgePreviewFlag(modes));
}

constexpr RidgeReadout ridgeTimedReadout(const Region& r, const ReadoutModes& modes,
                                         const ExposureCode& code) {
    return ridgePayload(r, code.code,
                        kRidgeReadoutFlags | ridgePreviewFlag(modes) |
                            (code.microseconds ? 0x400u : 0u) | (modes.darkFrame ? 0x1000u : 0u));
}

// Big-endian.
constexpr LumenReadout lumenPayload(const Region& r, std::uint32_t code, std::uint32_t flags,
                                    std::uint32_t kind) {
    return Payload<16>{}
        .u16be(code)
        .u8(0)
        .u8(r.xBin)
        .u8(0)
        .u8(r.yBin)
        .u16be(r.x)
        .u16be(r.y)
        .u16be(r.width)
        .u16be(r.height)
        .u8(flags)
        .u8(kind)
        .done();
}

constexpr std::uint32_t lumenModeFlags(const ReadoutModes& modes) {
    return (modes.eightBit ? 0x20u : 0u) | (modes.preview ? 0x01u : 0u);
}

constexpr LumenReadout lumenReadout(const Region& r, const ReadoutModes& modes) {
    return lumenPayload(r, 0, lumenModeFlags(modes), 0x43);
}

constexpr LumenReadout lumenTimedReadout(const Region& r, const ReadoutModes& modes,
                                         const ExposureCode& code) {
    return lumenPayload(r, code.code, lumenModeFlags(modes) | (code.microseconds ? 0x04u : 0u), 3);
}

static_assert(basinReadout({10, 20, 100, 50, 2, 2}, {}) ==
              BasinReadout{0x00, 0x02, 0x02, 0x0B, 0x00, 0x15, 0x00, 0x6F, 0x00, 0x47, 0x00, 0x00,
                           0x03});
static_assert(ridgeReadout({10, 20, 300, 50, 2, 1}, {.preview = true}) ==
              RidgeReadout{0, 0, 2, 0, 1, 0, 10, 0, 20, 0, 0x2C, 0x01, 50, 0, 0x43, 0x01});
static_assert(lumenReadout({10, 20, 100, 50, 2, 2}, {.preview = true, .eightBit = true}) ==
              LumenReadout{0x00, 0x00, 0x00, 0x02, 0x00, 0x02, 0x00, 0x0A, 0x00, 0x14, 0x00, 0x64,
                           0x00, 0x32, 0x21, 0x43});

} // namespace tavo
