// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Building and reading byte strings. Byte order is named at each field; shifts stand only here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace tavo {

// A payload of known length, filled field by field: Payload<4>{}.u16be(x).u16be(y).done(). Values
// wider than their field give their low bits.
template <std::size_t length>
class Payload {
public:
    constexpr Payload& u8(std::uint32_t value) {
        bytes.at(used++) = static_cast<std::uint8_t>(value);
        return *this;
    }
    constexpr Payload& u16le(std::uint32_t value) { return u8(value).u8(value >> 8); }
    constexpr Payload& u16be(std::uint32_t value) { return u8(value >> 8).u8(value); }
    constexpr Payload& u32le(std::uint32_t value) { return u16le(value).u16le(value >> 16); }

    constexpr std::array<std::uint8_t, length> done() const { return bytes; }

private:
    std::array<std::uint8_t, length> bytes{};
    std::size_t used = 0;
};

constexpr std::uint16_t u16le(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

constexpr std::uint32_t u32le(const std::uint8_t* bytes) {
    return u16le(bytes) | static_cast<std::uint32_t>(u16le(bytes + 2)) << 16;
}

// Big-endian 16-bit values at a byte index.
constexpr std::uint32_t getInt16(const std::uint8_t* buffer, int index) {
    return buffer[index] * 256u + buffer[index + 1];
}

constexpr void setInt16(std::uint8_t* buffer, int index, std::uint32_t value) {
    buffer[index] = static_cast<std::uint8_t>(value >> 8);
    buffer[index + 1] = static_cast<std::uint8_t>(value);
}

// Reads fields one after another; past the end of its bytes every field is 0.
class Reader {
public:
    constexpr explicit Reader(std::span<const std::uint8_t> source) : bytes(source) {}

    constexpr std::uint8_t u8() { return position < bytes.size() ? bytes[position++] : 0; }
    constexpr std::uint16_t u16le() {
        const std::uint8_t low = u8();
        return static_cast<std::uint16_t>(low | u8() << 8);
    }
    constexpr std::uint16_t u16be() {
        const std::uint8_t high = u8();
        return static_cast<std::uint16_t>(high << 8 | u8());
    }

private:
    std::span<const std::uint8_t> bytes;
    std::size_t position = 0;
};

// A zeroed buffer, or null when memory is short: transfers then fail instead of throwing.
inline std::unique_ptr<std::uint8_t[]> zeroedBuffer(std::size_t length) {
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow) std::uint8_t[length]());
}

} // namespace tavo
