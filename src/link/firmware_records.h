// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware image: records of a length, an address (low byte first) and that many bytes; a
// length of 0 ends it.
#pragma once

#include "link/bytes.h"

namespace tavo {

struct FirmwareRecord {
    std::uint16_t address;
    std::span<const std::uint8_t> data; // empty at the end of the image
    const std::uint8_t* next;
};

constexpr FirmwareRecord readFirmwareRecord(const std::uint8_t* record) {
    const std::size_t length = record[0];
    if (length == 0)
        return {0, {}, record};
    return {u16le(record + 1), {record + 3, length}, record + 3 + length};
}

// The image linked into this library, where the application brings none of its own.
extern const unsigned char kBuiltInFirmware[];

} // namespace tavo
