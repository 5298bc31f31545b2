// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Reading and writing of numbers: little-endian as in the controller's own requests, and big-endian
// as some cameras behind it have it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

// REQUIRES: offset + 2 (or 4) bytes are there.
constexpr std::uint16_t u16le(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

constexpr std::uint32_t u32le(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return u16le(bytes, offset) | std::uint32_t{u16le(bytes, offset + 2)} << 16;
}

constexpr std::uint16_t u16be(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

constexpr std::uint8_t lowByte(std::uint32_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

constexpr std::uint8_t highByte(std::uint32_t value) {
    return static_cast<std::uint8_t>(value >> 8 & 0xFF);
}

inline void appendU16le(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    bytes.push_back(lowByte(value));
    bytes.push_back(highByte(value));
}

inline void appendU16be(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    bytes.push_back(highByte(value));
    bytes.push_back(lowByte(value));
}

} // namespace tavo::virtualcamera
