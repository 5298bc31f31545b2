// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Waveform tables for the USB controller's interface engine, sent as they are. Their bytes mean
// something to the controller's firmware only. A set top bit in the first byte marks the long form.
#pragma once

#include <array>
#include <cstdint>

namespace tavo {

inline constexpr unsigned kShortTableLength = 152;
inline constexpr unsigned kLongTableLength = 172;

using ShortTable = std::array<std::uint8_t, kShortTableLength>;
using LongTable = std::array<std::uint8_t, kLongTableLength>;

constexpr unsigned tableLength(std::uint8_t firstByte) {
    return (firstByte & 0x80) != 0 ? kLongTableLength : kShortTableLength;
}

extern const LongTable GpifMode1;
extern const ShortTable GpifMode9;
extern const ShortTable ParInitData;
extern const ShortTable ParInitQSlowData;
extern const ShortTable ParInitQFastData; // no operation uses it

} // namespace tavo
