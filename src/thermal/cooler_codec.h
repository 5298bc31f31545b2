// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "core/conversion.h"
#include "link/bytes.h"
#include "tavoccdusb.h"

namespace tavo {

inline constexpr unsigned kCoolingReplyLength = 8;
inline constexpr unsigned kRidgeCoolingReplyLength = 6;
using CoolingReply = std::array<std::uint8_t, kCoolingReplyLength>;

struct CoolingStatus {
    COOLING_STATE state;
    std::uint32_t rawPower;
    std::int32_t rawTarget;
    friend constexpr bool operator==(const CoolingStatus&, const CoolingStatus&) = default;
};

constexpr COOLING_STATE coolingState(std::uint32_t flags) {
    if ((flags & 0x80) != 0)
        return COOLING_SETPOINT;
    if ((flags & 0x20) != 0)
        return WARMING_UP;
    return (flags & 0x40) != 0 ? COOLING_ON : COOLING_INACTIVE;
}

constexpr CoolingStatus decodeBasinCooling(const CoolingReply& reply) {
    return {coolingState(reply[1]), reply[0], u16le(&reply[2])};
}

constexpr CoolingStatus decodeRidgeCooling(const CoolingReply& reply) {
    return {coolingState(reply[2]), reply[0], u16le(&reply[4])};
}

constexpr CoolingStatus decodeLumenCooling(const CoolingReply& reply) {
    return {coolingState(reply[3]), getInt16(reply.data(), 0),
            static_cast<std::int32_t>(getInt16(reply.data(), 4))};
}

static_assert(decodeRidgeCooling({0x32, 0, 0xA0, 0, 0x10, 0x02, 0, 0}) ==
              CoolingStatus{COOLING_SETPOINT, 0x32, 0x0210});
static_assert(decodeBasinCooling({0x32, 0x60, 0x10, 0x02, 0, 0, 0, 0}) ==
              CoolingStatus{WARMING_UP, 0x32, 0x0210});
static_assert(decodeLumenCooling({0x01, 0x02, 0, 0x40, 0x02, 0x10, 0, 0}) ==
              CoolingStatus{COOLING_ON, 0x0102, 0x0210});

// Percent of the cooler's range. The range is an unsigned difference of the two limits.
constexpr float powerPercent(std::uint32_t raw, std::uint32_t least, std::uint32_t most) {
    return 100.0f * (static_cast<float>(raw) - static_cast<float>(least)) /
           static_cast<float>(most - least);
}

// A set high byte tells BASIN and RIDGE cameras that the low one is a power level.
constexpr std::uint16_t powerLevel(std::uint32_t level) {
    return static_cast<std::uint16_t>(0xFF00 | (level & 0xFF));
}

static_assert(powerLevel(static_cast<std::uint32_t>(truncateToInt32(75.9))) == 0xFF4B);

} // namespace tavo
