// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The framed request of the USB controller: a 16-byte header, then the payload. The reply has one
// byte before the data and three after it, none of which says anything.
#pragma once

#include "link/bytes.h"

namespace tavo {

struct Frame {
    std::uint32_t code;
    std::uint32_t transaction;
    bool replyPhase; // asks for a reply even where no data is wanted
    std::uint32_t subCode;
    std::uint32_t paramA;
    std::uint32_t paramB;
    std::uint32_t replyLength;
    std::uint32_t payloadLength;
};

inline constexpr unsigned kFrameHeaderLength = 16;
inline constexpr unsigned kFrameReplyExtra = 4;
inline constexpr unsigned kFrameReplyLead = 1;

constexpr auto encodeFrameHeader(const Frame& frame) {
    return Payload<kFrameHeaderLength>{}
        .u8(frame.code)
        .u8(frame.transaction)
        .u8(frame.replyPhase ? 0xFF : 0x00)
        .u8(frame.subCode)
        .u16le(frame.paramA)
        .u16le(frame.paramB)
        .u32le(frame.replyLength)
        .u32le(frame.payloadLength)
        .done();
}

static_assert(encodeFrameHeader({9, 0x1FE, false, 0, 1, 4464, 0, 0}) ==
              std::array<std::uint8_t, 16>{9, 0xFE, 0, 0, 1, 0, 0x70, 0x11});
static_assert(encodeFrameHeader({4, 3, true, 0, 0, 1, 0x010203, 0x020000}) ==
              std::array<std::uint8_t, 16>{4, 3, 0xFF, 0, 0, 0, 1, 0, 3, 2, 1, 0, 0, 0, 2, 0});

} // namespace tavo
