// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Writes and reads the fields of a message one after the other. Integers are big-endian.
#pragma once

#include "usb/device.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

namespace tavo::usbip {

class FieldWriter {
public:
    FieldWriter& u8(unsigned value) {
        bytes.push_back(static_cast<std::uint8_t>(value & 0xff));
        return *this;
    }
    FieldWriter& u16(unsigned value) { return u8(value >> 8).u8(value); }
    FieldWriter& u16le(unsigned value) { return u8(value).u8(value >> 8); }
    FieldWriter& u32(std::uint32_t value) { return u16(value >> 16).u16(value); }
    FieldWriter& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    FieldWriter& zeros(std::size_t count) {
        bytes.resize(bytes.size() + count);
        return *this;
    }
    // Cut or filled to `size` bytes, the last of which is always NUL.
    FieldWriter& text(const std::string& value, std::size_t size) {
        const std::size_t kept = std::min(value.size(), size - 1);
        bytes.insert(bytes.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(kept));
        return zeros(size - kept);
    }
    virtualusb::Bytes done() { return std::move(bytes); }

private:
    virtualusb::Bytes bytes;
};

// Refuses to leave its bytes: what lies behind them reads as 0, and complete() tells.
class FieldReader {
public:
    explicit FieldReader(std::span<const std::uint8_t> source) : rest(source) {}

    std::uint8_t u8() {
        if (rest.empty()) {
            overrun = true;
            return 0;
        }
        const std::uint8_t value = rest.front();
        rest = rest.subspan(1);
        return value;
    }
    std::uint16_t u16() {
        const unsigned high = u8();
        return static_cast<std::uint16_t>(high << 8 | u8());
    }
    std::uint16_t u16le() {
        const unsigned low = u8();
        return static_cast<std::uint16_t>(low | unsigned{u8()} << 8);
    }
    std::uint32_t u32() {
        const std::uint32_t high = u16();
        return high << 16 | u16();
    }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    void skip(std::size_t count) {
        overrun = overrun || count > rest.size();
        rest = rest.subspan(std::min(count, rest.size()));
    }
    // Text up to a NUL within a field of `size` bytes; a field without one counts as an overrun.
    std::string text(std::size_t size) {
        const auto field = rest.first(std::min(size, rest.size()));
        const auto end = std::find(field.begin(), field.end(), 0);
        overrun = overrun || end == field.end();
        skip(size);
        return {field.begin(), end};
    }
    std::size_t left() const { return rest.size(); }
    bool complete() const { return !overrun; }

private:
    std::span<const std::uint8_t> rest;
    bool overrun = false;
};

} // namespace tavo::usbip
