// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace tavo {

inline constexpr unsigned kLumenDescriptionLength = 128;
inline constexpr unsigned kLumenNameLength = 80;

using LumenName = std::array<char, kLumenNameLength + 1>; // zero-terminated

// What a LUMEN_CAMERA says of itself. Big-endian; the two names have variable length.
struct LumenDescription {
    unsigned versionMajor = 0, versionMinor = 0;
    LumenName model{}, manufacturer{};
    unsigned flags = 0;
    unsigned pixelCountX = 0, pixelCountY = 0;
    double pixelSizeX = 0.0, pixelSizeY = 0.0; // micrometres
    unsigned maxBinX = 0, maxBinY = 0;
    unsigned wellCapacity = 0;
};

// Fields past the end of the bytes are 0.
LumenDescription parseLumenDescription(std::span<const std::uint8_t> bytes);

} // namespace tavo
