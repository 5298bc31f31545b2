// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Replies to the commands that ask for single properties. BASIN positions count in the compacted
// reply.
#pragma once

#include "link/bytes.h"
#include "tavoccdusb.h"

namespace tavo {

inline constexpr unsigned kSensorCountLength = 2;
inline constexpr unsigned kCoolerReplyLength = 6;

using SensorCountReply = std::array<std::uint8_t, kSensorCountLength>;
using CoolerReply = std::array<std::uint8_t, kCoolerReplyLength>;

constexpr std::uint32_t decodeSensorCount(const SensorCountReply& reply) {
    return reply[0];
}

constexpr std::uint32_t decodeLumenSensorCount(const SensorCountReply& reply) {
    return getInt16(reply.data(), 0);
}

struct CoolerProperties {
    COOLER_TYPE type;
    std::int32_t minPower;
    std::int32_t maxPower;
    friend constexpr bool operator==(const CoolerProperties&, const CoolerProperties&) = default;
};

// Not in the order of the bits: a selectable power wins over a switch.
constexpr COOLER_TYPE coolerType(std::uint32_t flags) {
    if ((flags & 0x10) != 0)
        return COOLER_SETPOINT;
    if ((flags & 0x04) != 0)
        return COOLER_SELECTPOWER;
    if ((flags & 0x08) != 0)
        return COOLER_ONOFF;
    return (flags & 0x01) != 0 ? COOLER_ALWAYSON : COOLER_NONE;
}

constexpr CoolerProperties decodeBasinCooler(const CoolerReply& reply) {
    return {.type = coolerType(reply[0]), .minPower = reply[2], .maxPower = reply[1]};
}

constexpr CoolerProperties decodeRidgeCooler(const CoolerReply& reply) {
    return {.type = coolerType(reply[0]), .minPower = reply[4], .maxPower = reply[2]};
}

constexpr CoolerProperties decodeLumenCooler(const CoolerReply& reply) {
    return {.type = coolerType(getInt16(reply.data(), 0)),
            .minPower = static_cast<std::int32_t>(getInt16(reply.data(), 4)),
            .maxPower = static_cast<std::int32_t>(getInt16(reply.data(), 2))};
}

static_assert(decodeBasinCooler({0x10, 0x05, 0x32, 0x00, 0x64, 0x00}) ==
              CoolerProperties{COOLER_SETPOINT, 50, 5});
static_assert(decodeRidgeCooler({0x10, 0x05, 0x32, 0x00, 0x64, 0x00}) ==
              CoolerProperties{COOLER_SETPOINT, 100, 50});
static_assert(decodeLumenCooler({0x00, 0x0C, 0x01, 0x00, 0x00, 0x02}) ==
              CoolerProperties{COOLER_SELECTPOWER, 2, 256});

} // namespace tavo
