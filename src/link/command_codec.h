// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Numbered commands as each family's firmware wants them wrapped.
#pragma once

#include "link/bytes.h"

#include <algorithm>

namespace tavo {

inline constexpr unsigned kRidgeCommandLead = 8; // "C" 0 "M" 0 "D" 0 command 0
inline constexpr unsigned kBasinCommandLead = 4; // "VRQ" command
inline constexpr unsigned kLumenCommandLead = 4; // "CMD" command

// Packets travel to a RIDGE_CAMERA as 16-bit words, so an odd argument is padded.
constexpr std::size_t ridgePacketLength(std::size_t argumentLength) {
    return kRidgeCommandLead + (argumentLength + 1) / 2 * 2;
}

constexpr std::size_t basinPacketLength(std::size_t argumentLength) {
    return kBasinCommandLead + argumentLength;
}

// The reply comes back in the packet's own length, so the packet leaves room for it.
constexpr std::size_t lumenPacketLength(std::size_t argumentLength, std::size_t replyLength) {
    return kLumenCommandLead + argumentLength + replyLength;
}

// The encoders fill a zeroed packet of the length above.
constexpr void encodeRidgePacket(std::span<std::uint8_t> packet, std::uint32_t command,
                                 std::span<const std::uint8_t> argument) {
    packet[0] = 'C';
    packet[2] = 'M';
    packet[4] = 'D';
    packet[6] = static_cast<std::uint8_t>(command);
    std::copy(argument.begin(), argument.end(), packet.begin() + kRidgeCommandLead);
}

constexpr void encodeBasinPacket(std::span<std::uint8_t> packet, std::uint32_t command,
                                 std::span<const std::uint8_t> argument) {
    packet[0] = 'V';
    packet[1] = 'R';
    packet[2] = 'Q';
    packet[3] = static_cast<std::uint8_t>(command);
    std::copy(argument.begin(), argument.end(), packet.begin() + kBasinCommandLead);
}

constexpr void encodeLumenPacket(std::span<std::uint8_t> packet, std::uint32_t command,
                                 std::span<const std::uint8_t> argument) {
    packet[0] = 'C';
    packet[1] = 'M';
    packet[2] = 'D';
    packet[3] = static_cast<std::uint8_t>(command);
    std::copy(argument.begin(), argument.end(), packet.begin() + kLumenCommandLead);
}

// A BASIN_CAMERA answers with a byte of no meaning after each byte; the rest of the reply stays as
// it came.
constexpr void compactBasinReply(std::span<std::uint8_t> reply) {
    for (std::size_t i = 0; i < reply.size() / 2; ++i)
        reply[i] = reply[2 * i];
}

} // namespace tavo
