// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Port requests: for each of the controller's five ports an AND mask and an OR value.
#pragma once

#include "link/bytes.h"

namespace tavo {

struct PortChange {
    std::uint32_t port;
    std::uint8_t keep; // AND mask
    std::uint8_t set;  // OR value
};

inline constexpr unsigned kPortCount = 5;
inline constexpr unsigned kPortPairsLength = 2 * kPortCount;

constexpr auto encodePortDirection(const PortChange& change) {
    Payload<kPortPairsLength> payload;
    for (unsigned port = 0; port < kPortCount; ++port)
        port == change.port ? payload.u8(change.keep).u8(change.set) : payload.u8(0xFF).u8(0x00);
    return payload.done();
}

// State requests carry six more bytes, all zero.
constexpr auto encodePortState(const PortChange& change) {
    std::array<std::uint8_t, kPortPairsLength + 6> bytes{};
    const auto pairs = encodePortDirection(change);
    for (unsigned i = 0; i < pairs.size(); ++i)
        bytes[i] = pairs[i];
    return bytes;
}

// I/O lines are numbered through the ports, eight a port.
constexpr std::uint32_t lineBit(std::uint32_t line) {
    return 1u << (line & 7);
}

constexpr PortChange lineChange(std::uint32_t line, bool high) {
    const std::uint32_t bit = lineBit(line);
    return {.port = line >> 3,
            .keep = static_cast<std::uint8_t>(~bit),
            .set = static_cast<std::uint8_t>(high ? bit : 0)};
}

constexpr std::uint32_t lineState(const std::array<std::uint8_t, kPortCount>& ports,
                                  std::uint32_t line) {
    const std::uint32_t port = line >> 3;
    return port < kPortCount && (ports[port] & lineBit(line)) != 0 ? 1 : 0;
}

static_assert(encodePortDirection(lineChange(10, true)) ==
              std::array<std::uint8_t, 10>{0xFF, 0, 0xFB, 0x04, 0xFF, 0, 0xFF, 0, 0xFF, 0});
static_assert(encodePortState(lineChange(3, false)) ==
              std::array<std::uint8_t, 16>{0xF7, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0});

} // namespace tavo
