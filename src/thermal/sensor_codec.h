// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "link/bytes.h"

namespace tavo {

inline constexpr unsigned kSensorReplyLength = 6;
using SensorReply = std::array<std::uint8_t, kSensorReplyLength>;

struct SensorReading {
    std::uint32_t type; // see conversion.h
    std::int32_t raw;
    friend constexpr bool operator==(const SensorReading&, const SensorReading&) = default;
};

// The BASIN reading starts a byte earlier than the RIDGE one: its reply is compacted.
constexpr SensorReading decodeBasinSensor(const SensorReply& reply) {
    return {reply[0], u16le(&reply[1])};
}

constexpr SensorReading decodeRidgeSensor(const SensorReply& reply) {
    return {reply[0], u16le(&reply[2])};
}

constexpr SensorReading decodeLumenSensor(const SensorReply& reply) {
    return {reply[1], static_cast<std::int32_t>(getInt16(reply.data(), 2))};
}

static_assert(decodeBasinSensor({1, 0, 2, 9, 9, 9}) == SensorReading{1, 512});
static_assert(decodeRidgeSensor({2, 9, 0, 2, 9, 9}) == SensorReading{2, 512});
static_assert(decodeLumenSensor({9, 2, 2, 0, 9, 9}) == SensorReading{2, 512});

// Tenths of a kelvin in the low twelve bits of a GLINT register.
constexpr float glintCelsius(std::uint32_t value) {
    return static_cast<float>((value & 0xFFF) / 10.0 - 273.15);
}

} // namespace tavo
