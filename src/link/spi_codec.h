// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "link/bytes.h"

namespace tavo {

// One 16-bit word, high byte first: the register in the top four bits, the value in the low twelve.
constexpr auto encodeSpiWord(std::uint32_t target, std::uint32_t value) {
    return Payload<2>{}.u16be(target << 12 | (value & 0xFFF)).done();
}

static_assert(encodeSpiWord(2, 0x7A5) == std::array<std::uint8_t, 2>{0x27, 0xA5});
static_assert(encodeSpiWord(5, 4095) == std::array<std::uint8_t, 2>{0x5F, 0xFF});

} // namespace tavo
