// SPDX-License-Identifier: LGPL-2.1-or-later
#include "records.h"

#include <cstdio>

namespace tavo::firmware {

MalformedImage MalformedImage::atLine(std::size_t line, const std::string& reason) {
    return {Unit::Line, line, reason};
}

MalformedImage MalformedImage::atByte(std::size_t offset, const std::string& reason) {
    return {Unit::Byte, offset, reason};
}

std::string MalformedImage::describe(std::string_view file) const {
    const std::string where = unit == Unit::Line ? ":" : ": byte ";
    return std::string(file) + where + std::to_string(position) + ": " + what();
}

std::string AddressSpace::claim(const Record& record) {
    const std::size_t begin = record.address;
    const std::size_t end = begin + record.data.size();
    if (end > kSize) {
        return "the record at " + hexadecimal(begin, 4) + " of " +
               std::to_string(record.data.size()) + " bytes runs past address 0xFFFF";
    }
    if (begin <= kCpuControl && kCpuControl < end) {
        return "the record writes the CPU control register at " + hexadecimal(kCpuControl, 4) +
               ", which is the loader's to write";
    }
    for (std::size_t address = begin; address < end; ++address) {
        if (written.test(address)) {
            return "address " + hexadecimal(address, 4) + " was written by an earlier record";
        }
        written.set(address);
    }
    return {};
}

Image readRecords(std::span<const std::uint8_t> file) {
    constexpr std::size_t kHeader = 3;
    Image image;
    AddressSpace space;
    std::size_t offset = 0;
    while (offset < file.size() && file[offset] != 0) {
        const std::size_t length = file[offset];
        const std::size_t left = file.size() - offset;
        if (left < kHeader + length) {
            throw MalformedImage::atByte(offset, "the record needs " +
                                                     std::to_string(kHeader + length) + " bytes, " +
                                                     std::to_string(left) + " are left");
        }
        const auto data = file.subspan(offset + kHeader, length);
        Record record{static_cast<std::uint16_t>(file[offset + 1] | file[offset + 2] << 8),
                      {data.begin(), data.end()}};
        if (const std::string refusal = space.claim(record); !refusal.empty()) {
            throw MalformedImage::atByte(offset, refusal);
        }
        image.push_back(std::move(record));
        offset += kHeader + length;
    }
    if (offset == file.size()) {
        throw MalformedImage::atByte(offset, file.empty() ? "the file is empty"
                                                          : "the ending length byte 0 is missing");
    }
    if (offset + 1 != file.size()) {
        throw MalformedImage::atByte(offset + 1, std::to_string(file.size() - offset - 1) +
                                                     " bytes follow the ending length byte 0");
    }
    return image;
}

std::vector<std::uint8_t> writeRecords(const Image& image) {
    std::vector<std::uint8_t> bytes;
    for (const Record& record : image) {
        bytes.push_back(static_cast<std::uint8_t>(record.data.size()));
        bytes.push_back(static_cast<std::uint8_t>(record.address & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(record.address >> 8));
        bytes.insert(bytes.end(), record.data.begin(), record.data.end());
    }
    bytes.push_back(0);
    return bytes;
}

std::string hexadecimal(std::size_t value, unsigned digits) {
    char text[2 + 2 * sizeof value + 1] = {};
    std::snprintf(text, sizeof text, "0x%0*zX", static_cast<int>(digits), value);
    return text;
}

} // namespace tavo::firmware
