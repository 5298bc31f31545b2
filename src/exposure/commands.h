// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Commands of the exposure cycle. What 2, 4 and 5 do inside the camera is its own affair; their
// order and values are not.
#pragma once

namespace tavo::command {

inline constexpr unsigned kGate = 2;
inline constexpr unsigned kClear = 4;
inline constexpr unsigned kStart = 5;
inline constexpr unsigned kReadout = 6;
inline constexpr unsigned kShutter = 9; // value 1 opens, 0 closes
inline constexpr unsigned kEndExposureBasin = 66;

} // namespace tavo::command

// Registers of the sensor electronics of a HERON_CAMERA, written over its serial port.
namespace tavo::heron {

inline constexpr unsigned kControl = 2; // shared with the guide relays in its low four bits
inline constexpr unsigned kTime = 5;
inline constexpr unsigned kBinning = 8;

constexpr unsigned binning(unsigned xBin, unsigned yBin) {
    return (yBin - 1) << 8 | (xBin - 1) << 4;
}

static_assert(binning(2, 3) == 0x210);

} // namespace tavo::heron
