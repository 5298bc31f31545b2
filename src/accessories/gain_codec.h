// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The front-end settings block of a LUMEN_CAMERA: a half for normal readout, a half for preview,
// each a marker, a word of no meaning to the host, the gain and the raw offset. Big-endian.
#pragma once

#include "link/bytes.h"

namespace tavo {

inline constexpr unsigned kGainBlockLength = 16;
inline constexpr unsigned kGainPayloadLength = 2 + kGainBlockLength;
inline constexpr int kMaxGain = 63;
inline constexpr int kMaxOffset = 512;

inline constexpr std::uint8_t kGainBlockNotReady = 1; // in byte 0

using GainBlock = std::array<std::uint8_t, kGainBlockLength>;

struct GainSetting {
    int gain;
    int offset;
    friend constexpr bool operator==(const GainSetting&, const GainSetting&) = default;
};

constexpr int gainPosition(bool preview) {
    return preview ? 12 : 4;
}

constexpr std::uint32_t offsetToRaw(int offset) {
    return static_cast<std::uint32_t>(offset <= 256 ? 512 - offset : offset - 257);
}

constexpr int rawToOffset(std::uint32_t raw) {
    const int value = static_cast<int>(raw);
    return value > 255 ? 512 - value : value + 257;
}

constexpr bool gainBlockReady(const GainBlock& block) {
    return block[0] != kGainBlockNotReady;
}

constexpr bool gainBlockAcceptable(const GainBlock& block) {
    constexpr std::uint32_t kMarker = 88;
    constexpr std::uint32_t kMaxRawGain = kMaxGain;
    return gainBlockReady(block) && getInt16(block.data(), 0) == kMarker &&
           getInt16(block.data(), 8) == kMarker && getInt16(block.data(), 4) <= kMaxRawGain &&
           getInt16(block.data(), 12) <= kMaxRawGain;
}

constexpr GainSetting decodeGain(const GainBlock& block, bool preview) {
    const int position = gainPosition(preview);
    return {static_cast<int>(getInt16(block.data(), position)),
            rawToOffset(getInt16(block.data(), position + 2))};
}

// The block as read, behind a word that says that it is to be written, with one half changed.
constexpr auto encodeGain(const GainBlock& block, bool preview, const GainSetting& setting) {
    constexpr std::uint32_t kWriteBlock = 25;
    std::array<std::uint8_t, kGainPayloadLength> payload{};
    setInt16(payload.data(), 0, kWriteBlock);
    for (unsigned i = 0; i < block.size(); ++i)
        payload[2 + i] = block[i];
    const int position = 2 + gainPosition(preview);
    setInt16(payload.data(), position, static_cast<std::uint32_t>(setting.gain));
    setInt16(payload.data(), position + 2, offsetToRaw(setting.offset));
    return payload;
}

static_assert(offsetToRaw(0) == 512 && offsetToRaw(256) == 256 && offsetToRaw(257) == 0 &&
              offsetToRaw(512) == 255);
static_assert(rawToOffset(512) == 0 && rawToOffset(256) == 256 && rawToOffset(0) == 257 &&
              rawToOffset(255) == 512);
static_assert(encodeGain({0, 88, 7, 7, 0, 1, 0, 2, 0, 88, 7, 7, 0, 3, 0, 4}, false, {10, 100}) ==
              std::array<std::uint8_t, 18>{0x00, 0x19, 0, 88, 7, 7, 0x00, 0x0A, 0x01, 0x9C, 0, 88,
                                           7, 7, 0, 3, 0, 4});

} // namespace tavo
