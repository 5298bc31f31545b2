// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The frame of a request to the controller: 16 bytes of header, little-endian, and a payload.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace tavo::virtualcamera {

struct FramedRequest {
    std::uint8_t code;
    std::uint8_t transaction;
    bool replyPhase; // a reply is read even when it has no data
    std::uint8_t subCode;
    std::uint16_t a;
    std::uint16_t b;
    std::uint32_t replyLength;
    std::span<const std::uint8_t> payload;

    bool wantsReply() const { return replyPhase || replyLength != 0; }
};

// Nothing when the bytes are no frame; `problem` then says why.
std::optional<FramedRequest> parseFrame(std::span<const std::uint8_t> bytes, std::string& problem);

} // namespace tavo::virtualcamera
