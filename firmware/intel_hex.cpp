// SPDX-License-Identifier: LGPL-2.1-or-later
#include "intel_hex.h"

#include <numeric>
#include <optional>
#include <string>
#include <vector>

namespace tavo::firmware {
namespace {

constexpr std::string_view kBlank = " \t\r";

std::optional<std::uint8_t> digitValue(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    return std::nullopt;
}

std::string quoted(char character) {
    if (character >= ' ' && character <= '~') {
        return std::string("'") + character + "'";
    }
    return hexadecimal(static_cast<unsigned char>(character), 2);
}

class Reader {
public:
    Image read(std::string_view text) {
        while (!text.empty()) {
            const std::size_t lineEnd = text.find('\n');
            ++line;
            readLine(text.substr(0, lineEnd));
            text.remove_prefix(lineEnd == std::string_view::npos ? text.size() : lineEnd + 1);
        }
        if (line == 0) {
            fail("the file is empty");
        }
        if (!ended) {
            fail("the end record is missing; the file may be cut off");
        }
        return std::move(image);
    }

private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw MalformedImage::atLine(line, reason);
    }

    void readLine(std::string_view text) {
        if (!text.empty() && text.back() == '\r') {
            text.remove_suffix(1);
        }
        if (text.find_first_not_of(kBlank) == std::string_view::npos) {
            return;
        }
        if (ended) {
            fail("the end record is not the last one");
        }
        readRecord(decode(text));
    }

    std::vector<std::uint8_t> decode(std::string_view text) const {
        if (text.front() != ':') {
            fail("a record begins with ':', not with " + quoted(text.front()));
        }
        const std::string_view digits = text.substr(1);
        std::vector<std::uint8_t> bytes;
        std::uint8_t high = 0;
        for (std::size_t index = 0; index < digits.size(); ++index) {
            const std::optional<std::uint8_t> value = digitValue(digits[index]);
            if (!value) {
                fail("bad hexadecimal digit " + quoted(digits[index]) + " in column " +
                     std::to_string(index + 2));
            }
            if (index % 2 == 0) {
                high = *value;
            } else {
                bytes.push_back(static_cast<std::uint8_t>(high << 4 | *value));
            }
        }
        if (digits.size() % 2 != 0) {
            fail("odd number of digits (" + std::to_string(digits.size()) + ")");
        }
        return bytes;
    }

    void readRecord(const std::vector<std::uint8_t>& bytes) {
        // Length, address, type and checksum stand around the data.
        constexpr std::size_t kAround = 5;
        if (bytes.size() < kAround) {
            fail("the line is too short: " + std::to_string(bytes.size()) +
                 " bytes, a record has at least " + std::to_string(kAround));
        }
        const std::size_t length = bytes[0];
        if (bytes.size() != kAround + length) {
            fail("the record names " + std::to_string(length) + " data bytes but has " +
                 std::to_string(bytes.size() - kAround));
        }
        const unsigned sum = std::accumulate(bytes.begin(), bytes.end() - 1, 0U);
        const std::size_t expected = (0x100U - (sum & 0xFFU)) & 0xFFU;
        if (bytes.back() != expected) {
            fail("wrong checksum: expected " + hexadecimal(expected, 2) + ", found " +
                 hexadecimal(bytes.back(), 2));
        }
        Record record{static_cast<std::uint16_t>(bytes[1] << 8 | bytes[2]),
                      {bytes.begin() + 4, bytes.end() - 1}};
        accept(bytes[3], std::move(record));
    }

    void accept(std::uint8_t type, Record record) {
        switch (type) {
        case 0x00: return acceptData(std::move(record));
        case 0x01: return acceptEnd(record);
        case 0x02:
        case 0x04: return acceptExtendedAddress(record);
        default:
            fail("record type " + hexadecimal(type, 2) +
                 " is not supported; accepted are 0x00 (data), 0x01 (end), and 0x02 and 0x04 "
                 "(extended address) naming address 0");
        }
    }

    void acceptData(Record record) {
        if (record.data.empty()) {
            return;
        }
        if (const std::string refusal = space.claim(record); !refusal.empty()) {
            fail(refusal);
        }
        image.push_back(std::move(record));
    }

    void acceptEnd(const Record& record) {
        if (!record.data.empty()) {
            fail("an end record carries no data, this one " + std::to_string(record.data.size()) +
                 " bytes");
        }
        ended = true;
    }

    void acceptExtendedAddress(const Record& record) const {
        if (record.data.size() != 2) {
            fail("an extended address record carries 2 data bytes, this one " +
                 std::to_string(record.data.size()));
        }
        if (record.data[0] != 0 || record.data[1] != 0) {
            const std::size_t value =
                static_cast<std::size_t>(record.data[0] << 8 | record.data[1]);
            fail("extended address " + hexadecimal(value, 4) +
                 " lies outside the controller's 64 KiB; only 0x0000 is accepted");
        }
    }

    Image image;
    AddressSpace space;
    std::size_t line = 0;
    bool ended = false;
};

// A complete raw image ends with a byte 0, which Intel HEX never contains; a raw image whose first
// record is 0x3A bytes long begins with ':' all the same.
bool isIntelHex(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && text[first] == ':' && text.back() != '\0';
}

} // namespace

Image readIntelHex(std::string_view text) {
    return Reader().read(text);
}

Image readImage(std::span<const std::uint8_t> file) {
    const std::string text(file.begin(), file.end());
    return isIntelHex(text) ? readIntelHex(text) : readRecords(file);
}

} // namespace tavo::firmware
