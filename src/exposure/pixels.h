// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Pixel corrections. A window may reach outside the frame that it is cut from, and the output may
// be too small: pixels from outside count as 0, pixels past the output's end are dropped.
#pragma once

#include "exposure/region.h"

#include <cstdint>
#include <span>

namespace tavo {

// Two samples a pixel: `offset` + 2 * (second - first), clamped to 16 bits; packed without gaps.
void subtractPrecharge(std::span<const std::uint16_t> samples, const BinnedWindow& window,
                       std::int32_t offset, std::span<std::uint16_t> output);

// Copies the window's rows. The output advances by the window's HEIGHT a row: rows lie densely only
// in square windows, and applications that know the camera unpack the others accordingly.
void copyWindow(std::span<const std::uint16_t> frame, const BinnedWindow& window,
                std::span<std::uint16_t> output);

// The 8-bit sample becomes the high byte; packed without gaps.
void expandHighBytes(std::span<const std::uint8_t> frame, const BinnedWindow& window,
                     std::span<std::uint16_t> output);

// Spreads output.size() bytes at the start of the output over its pixels, in place.
void widenBytes(std::span<std::uint16_t> output);

// Moves the pixels down by two; the last two stay as they are. Of 8-bit pixels before they are
// widened: the same comes of it as afterwards, for half the work.
void dropLeadingPixels(std::span<std::uint16_t> pixels);
void dropLeadingPixels(std::span<std::uint8_t> pixels);

} // namespace tavo
