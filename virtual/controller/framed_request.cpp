// SPDX-License-Identifier: LGPL-2.1-or-later
#include "framed_request.h"

#include "bytes.h"

namespace tavo::virtualcamera {

namespace {

constexpr std::size_t kHeaderLength = 16;
constexpr std::uint8_t kReplyPhase = 0xFF;
// More than any request of any camera moves; guards the controller's memory.
constexpr std::uint32_t kReplyLimit = 65536;

} // namespace

std::optional<FramedRequest> parseFrame(std::span<const std::uint8_t> bytes, std::string& problem) {
    if (bytes.size() < kHeaderLength) {
        problem = "shorter than its header";
        return std::nullopt;
    }
    const FramedRequest request{
        bytes[0],        bytes[1],        bytes[2] == kReplyPhase, bytes[3],
        u16le(bytes, 4), u16le(bytes, 6), u32le(bytes, 8),         bytes.subspan(kHeaderLength)};
    if (bytes[2] != 0 && bytes[2] != kReplyPhase)
        problem = "byte 2 is neither 0 nor 255";
    else if (u32le(bytes, 12) != request.payload.size())
        problem = "announced payload length differs from what came";
    else if (request.replyLength > kReplyLimit)
        problem = "reply too long";
    else
        return request;
    return std::nullopt;
}

} // namespace tavo::virtualcamera
