// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "link/bytes.h"

namespace tavo {

inline constexpr unsigned kWheelReplyLength = 8;
using WheelReply = std::array<std::uint8_t, kWheelReplyLength>;

struct WheelStatus {
    std::uint32_t filterCount;
    bool moving;
    std::uint32_t current;
    std::uint32_t target;
    friend constexpr bool operator==(const WheelStatus&, const WheelStatus&) = default;
};

// Only the even bytes count.
constexpr WheelStatus decodeRidgeWheel(const WheelReply& reply) {
    return {reply[0], reply[2] != 0, reply[4], reply[6]};
}

constexpr WheelStatus decodeLumenWheel(const WheelReply& reply) {
    return {getInt16(reply.data(), 0), getInt16(reply.data(), 2) != 0, getInt16(reply.data(), 4),
            getInt16(reply.data(), 6)};
}

static_assert(decodeRidgeWheel({5, 9, 1, 9, 2, 9, 4, 9}) == WheelStatus{5, true, 2, 4});
static_assert(decodeLumenWheel({0, 7, 0, 0, 0, 3, 0, 3}) == WheelStatus{7, false, 3, 3});

} // namespace tavo
