// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace tavo {

inline constexpr unsigned kHeronDescriptionLength = 64;

// What the EEPROM of a HERON_CAMERA says of it. Little-endian.
struct HeronDescription {
    unsigned versionMajor = 0, versionMinor = 0;
    std::string_view model, manufacturer; // in the parsed bytes
    unsigned flags = 0;
    std::int32_t pixelCountX = 0, pixelCountY = 0;
    double pixelSizeX = 0.0, pixelSizeY = 0.0; // micrometres
    unsigned maxBinX = 0, maxBinY = 0;
    std::int32_t prechargeOffset = 0;
};

// Strings end at a zero byte or where the bytes end; fields past the end are 0.
HeronDescription parseHeronDescription(std::span<const std::uint8_t> bytes);

} // namespace tavo
