// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "tavoccdusb.h"

#include <array>
#include <cstdint>

namespace tavo {

struct Colour {
    COLOUR_TYPE type = COLOUR_MONO;
    std::int32_t offsetX = 0;
    std::int32_t offsetY = 0;
    friend constexpr bool operator==(const Colour&, const Colour&) = default;
};

inline constexpr unsigned kColourMarkerLength = 5;

// The marker in the EEPROM of a colour camera: three fixed bytes, the Bayer phase, an unused byte.
constexpr Colour decodeColour(const std::array<std::uint8_t, kColourMarkerLength>& marker) {
    if (marker[0] != 0x84 || marker[1] != 0xD9 || marker[2] != 0x01 || marker[3] > 3)
        return {};
    return {COLOUR_BAYER, marker[3] >> 1, marker[3] & 1};
}

static_assert(decodeColour({0x84, 0xD9, 0x01, 2, 0}) == Colour{COLOUR_BAYER, 1, 0});
static_assert(decodeColour({0x84, 0xD9, 0x01, 7, 0}) == Colour{});
static_assert(decodeColour({0x84, 0xD9, 0x02, 2, 0}) == Colour{});

} // namespace tavo
