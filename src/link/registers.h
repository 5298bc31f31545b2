// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Registers of a GLINT_CAMERA. Of an address only the low 32 bits travel.
#pragma once

#include <cstdint>

namespace tavo::reg {

inline constexpr std::uint64_t kBase = 0xFFFFF0F00000;

inline constexpr std::uint64_t kInitialize = kBase;
inline constexpr std::uint64_t kFormat = kBase + 0x608;
inline constexpr std::uint64_t kMode = kBase + 0x604;
inline constexpr std::uint64_t kTrigger = kBase + 0x61C;
inline constexpr std::uint64_t kError = kBase + 0x628;
inline constexpr std::uint64_t kTemperature = kBase + 0x82C;
inline constexpr std::uint64_t kShutter = kBase + 0x918;    // seconds, float
inline constexpr std::uint64_t kGain = kBase + 0x928;       // float
inline constexpr std::uint64_t kBrightness = kBase + 0x938; // float
inline constexpr std::uint64_t kGamma = kBase + 0x948;      // float
inline constexpr std::uint64_t kFrameRate = kBase + 0x968;  // frames a second, float
inline constexpr std::uint64_t kUpTime = kBase + 0x12E0;    // seconds; bit 28 is not part of it
inline constexpr std::uint64_t kSerial = kBase + 0x1F20;
inline constexpr std::uint64_t kBoard = kBase + 0x1F24;
inline constexpr std::uint64_t kVersion = kBase + 0x1F60;

} // namespace tavo::reg
