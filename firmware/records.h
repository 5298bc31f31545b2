// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware image as the library walks it: records of a length byte, a target address (low byte
// first) and that many data bytes, laid end to end and ended by a length byte of 0.
#ifndef TAVO_FIRMWARE_RECORDS_H
#define TAVO_FIRMWARE_RECORDS_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavo::firmware {

// A record of the image. Its data are 1 to 255 bytes: a length of 0 would end the image early.
struct Record {
    std::uint16_t address = 0;
    std::vector<std::uint8_t> data;

    friend bool operator==(const Record&, const Record&) = default;
};

using Image = std::vector<Record>;

// A file that is no firmware image, and where in it that shows.
class MalformedImage : public std::runtime_error {
public:
    static MalformedImage atLine(std::size_t line, const std::string& reason);
    static MalformedImage atByte(std::size_t offset, const std::string& reason);

    // "FILE:LINE: reason" or "FILE: byte OFFSET: reason".
    std::string describe(std::string_view file) const;

private:
    enum class Unit { Line, Byte };

    MalformedImage(Unit countedIn, std::size_t where, const std::string& reason)
        : std::runtime_error(reason), unit(countedIn), position(where) {}

    Unit unit;
    std::size_t position;
};

// The controller's 16-bit address space, to tell records that cannot be meant.
class AddressSpace {
public:
    // Marks the record's bytes as written. Returns why they must not be, or an empty text:
    // they run past 0xFFFF, were written before, or reach the CPU control register.
    std::string claim(const Record& record);

private:
    static constexpr std::size_t kSize = 0x10000;
    // Writing there starts or stops the CPU. The library does so itself around the upload; a record
    // that does it would start the CPU on half an image.
    static constexpr std::size_t kCpuControl = 0xE600;

    std::bitset<kSize> written;
};

// Reads and writes the raw record format. Reading throws MalformedImage.
Image readRecords(std::span<const std::uint8_t> file);
std::vector<std::uint8_t> writeRecords(const Image& image);

// "0x" and `digits` upper-case hexadecimal digits.
std::string hexadecimal(std::size_t value, unsigned digits);

} // namespace tavo::firmware

#endif
