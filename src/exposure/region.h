// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Windows of the sensor. All arithmetic is unsigned 32-bit and wraps.
#pragma once

#include <cstdint>

namespace tavo {

// Unbinned sensor pixels and the two binning factors.
struct Region {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;
    std::uint32_t xBin = 0, yBin = 0;
};

struct RegionLimits {
    std::uint32_t pixelCountX;
    std::uint32_t maxBinX, maxBinY;
};

// The vertical extent is held against the sensor's WIDTH, as it always was: a window may reach past
// the bottom of a wide sensor, and the last rows of a tall one are out of reach.
constexpr bool regionAllowed(const Region& region, const RegionLimits& limits) {
    return region.xBin != 0 && region.xBin <= limits.maxBinX && region.yBin != 0 &&
           region.yBin <= limits.maxBinY && region.x + region.width <= limits.pixelCountX &&
           region.y + region.height <= limits.pixelCountX;
}

// A window in the binned frame that HERON and GLINT cameras send as a whole.
struct BinnedWindow {
    std::uint32_t x, y, width, height;
    std::uint32_t frameWidth, frameHeight;

    constexpr std::uint32_t framePixels() const { return frameWidth * frameHeight; }
    constexpr std::uint32_t firstPixel() const { return x + frameWidth * y; }
};

constexpr std::uint32_t binned(std::uint32_t length, std::uint32_t bin) {
    return bin == 0 ? 0 : length / bin;
}

constexpr BinnedWindow binnedWindow(const Region& region, std::uint32_t pixelCountX,
                                    std::uint32_t pixelCountY) {
    return {.x = binned(region.x, region.xBin),
            .y = binned(region.y, region.yBin),
            .width = binned(region.width, region.xBin),
            .height = binned(region.height, region.yBin),
            .frameWidth = binned(pixelCountX, region.xBin),
            .frameHeight = binned(pixelCountY, region.yBin)};
}

static_assert(regionAllowed({0xFFFFFFFF, 0, 2, 1, 1, 1}, {10, 1, 1}), "the sum wraps to 1");
static_assert(!regionAllowed({0, 1500, 10, 100, 1, 1}, {1000, 1, 1}));

} // namespace tavo
