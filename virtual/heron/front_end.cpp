// SPDX-License-Identifier: LGPL-2.1-or-later
#include "front_end.h"

#include <algorithm>

namespace tavo::virtualcamera {

namespace {

constexpr unsigned kWordBits = 16;
constexpr unsigned kReadFlag = 0x8000;
constexpr unsigned kNumberShift = 12;
constexpr unsigned kNumberMask = 0x7;

} // namespace

void FrontEnd::reset() {
    registers.fill(std::nullopt);
    bits = 0;
}

void FrontEnd::follow(const Pins& now) {
    if (now.selected && !pins.selected) {
        bits = 0;
    } else if (now.selected && now.clock && !pins.clock) {
        shifted = static_cast<std::uint16_t>(shifted << 1 | (now.data ? 1 : 0));
        ++bits;
    } else if (!now.selected && pins.selected && bits != 0) {
        takeWord();
    }
    pins = now;
}

void FrontEnd::takeWord() {
    const std::size_t number = shifted >> kNumberShift & kNumberMask;
    if (bits != kWordBits) {
        journal("front end: a word of ", bits, " bits instead of ", kWordBits, " is ignored");
    } else if ((shifted & kReadFlag) != 0) {
        journal("front end: ", hex(shifted, 4), " asks for a read, ignored");
    } else {
        registers[number] = shifted;
        journal("front end: ", hex(shifted, 4), " goes into register ", number);
    }
    bits = 0;
}

bool FrontEnd::holds(const Words& words) const {
    return std::equal(words.begin(), words.end(), registers.begin(),
                      [](std::uint16_t word, const std::optional<std::uint16_t>& content) {
                          return content == word;
                      });
}

} // namespace tavo::virtualcamera
