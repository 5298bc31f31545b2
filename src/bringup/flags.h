// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The features that a camera's description names by bits.
#pragma once

#include <array>
#include <cstdint>

namespace tavo {

namespace flag {
inline constexpr unsigned kHasShutter = 0x0080;
inline constexpr unsigned kNoGuidePort = 0x0100; // inverted: a set bit means there is none
inline constexpr unsigned kHasGPIO = 0x0200;
inline constexpr unsigned kHas8BitMode = 0x0800;
inline constexpr unsigned kHasFilterWheel = 0x1000;

// The bits whose names each family traces.
inline constexpr unsigned kTracedByBasin = 0x005F;
inline constexpr unsigned kTracedByRidge = 0x13DF;
inline constexpr unsigned kTracedByLumen = 0x1FDE;
} // namespace flag

// A HERON_CAMERA has a flags byte of its own.
namespace heronflag {
inline constexpr unsigned kHasGuidePort = 0x01; // not inverted
inline constexpr unsigned kNoFastUSB = 0x02;
inline constexpr unsigned kPrechargeCDS = 0x04;
} // namespace heronflag

struct FlagText {
    std::array<char, 192> text{};
    const char* c_str() const { return text.data(); }
};

// The names of the set flags among `traced`, each with a leading blank, in ascending bit order.
FlagText flagNames(unsigned word, unsigned traced);
FlagText heronFlagNames(unsigned flags);

} // namespace tavo
