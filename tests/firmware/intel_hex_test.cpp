// SPDX-License-Identifier: LGPL-2.1-or-later
#include "intel_hex.h"

#include <gtest/gtest.h>

#include <string>

namespace tavo::firmware {
namespace {

constexpr const char* kEnd = ":00000001FF\n";

// A record line with the right checksum, its line feed included.
std::string line(std::vector<std::uint8_t> bytes) {
    unsigned sum = 0;
    for (const std::uint8_t byte : bytes) {
        sum += byte;
    }
    bytes.push_back(static_cast<std::uint8_t>(0x100U - (sum & 0xFFU)));
    std::string text = ":";
    for (const std::uint8_t byte : bytes) {
        text += hexadecimal(byte, 2).substr(2);
    }
    return text + "\n";
}

std::string refusalOf(const std::string& text) {
    try {
        readIntelHex(text);
    } catch (const MalformedImage& error) {
        return error.describe("image.hex");
    }
    return "accepted";
}

TEST(IntelHex, KnownLineIsRead) {
    const Image expected{{0x0030, {0x02, 0x33, 0x7A}}};
    EXPECT_EQ(readIntelHex(":0300300002337A1E\n:00000001FF\n"), expected);
}

TEST(IntelHex, LineEndsCaseAndBlankLinesDoNotMatter) {
    const Image expected{{0x0030, {0x02, 0x33, 0x7A}}, {0xABCD, {0xEF}}};
    const std::string upper = ":0300300002337A1E\n" + line({1, 0xAB, 0xCD, 0, 0xEF});
    EXPECT_EQ(readIntelHex(upper + kEnd), expected);
    EXPECT_EQ(readIntelHex("\r\n \t\r\n:0300300002337a1e\r\n\r\n:01abcd00ef98\r\n:00000001ff"),
              expected);
}

TEST(IntelHex, RecordsWithoutDataWouldEndTheImageAndAreLeftOut) {
    const Image expected{{0x0200, {7}}};
    EXPECT_EQ(readIntelHex(line({0, 1, 0, 0}) + line({1, 2, 0, 0, 7}) + kEnd), expected);
}

TEST(IntelHex, LongestRecordIsRead) {
    std::vector<std::uint8_t> bytes{255, 0x20, 0x00, 0x00};
    bytes.resize(4 + 255, 0x5A);
    const Image image = readIntelHex(line(bytes) + kEnd);
    ASSERT_EQ(image.size(), 1U);
    EXPECT_EQ(image[0].data, std::vector<std::uint8_t>(255, 0x5A));
}

TEST(IntelHex, ExtendedAddressesMustBeZero) {
    EXPECT_EQ(refusalOf(line({2, 0, 0, 2, 0, 0}) + line({2, 0, 0, 4, 0, 0}) + kEnd), "accepted");
    EXPECT_EQ(refusalOf(line({2, 0, 0, 4, 0x00, 0x01}) + kEnd),
              "image.hex:1: extended address 0x0001 lies outside the controller's 64 KiB; only "
              "0x0000 is accepted");
    EXPECT_EQ(refusalOf(line({2, 0, 0, 2, 0x10, 0x00}) + kEnd),
              "image.hex:1: extended address 0x1000 lies outside the controller's 64 KiB; only "
              "0x0000 is accepted");
    EXPECT_EQ(refusalOf(line({1, 0, 0, 4, 0}) + kEnd),
              "image.hex:1: an extended address record carries 2 data bytes, this one 1");
}

TEST(IntelHex, OtherRecordTypesAreRefused) {
    EXPECT_EQ(refusalOf(line({4, 0, 0, 5, 0, 0, 0, 0}) + kEnd),
              "image.hex:1: record type 0x05 is not supported; accepted are 0x00 (data), 0x01 "
              "(end), and 0x02 and 0x04 (extended address) naming address 0");
}

TEST(IntelHex, BadDigitsAreRefusedWithTheirColumn) {
    EXPECT_EQ(refusalOf(":0300300002337G1E\n"),
              "image.hex:1: bad hexadecimal digit 'G' in column 15");
    EXPECT_EQ(refusalOf(":03003000\x01"
                        "2337A1E\n"),
              "image.hex:1: bad hexadecimal digit 0x01 in column 10");
    EXPECT_EQ(refusalOf(":0300300002337A1E \n"),
              "image.hex:1: bad hexadecimal digit ' ' in column 18");
    EXPECT_EQ(refusalOf(":0300300002337A1E\nhello\n"),
              "image.hex:2: a record begins with ':', not with 'h'");
}

TEST(IntelHex, OddNumberOfDigitsIsRefused) {
    EXPECT_EQ(refusalOf(":0300300002337A1\n"), "image.hex:1: odd number of digits (15)");
}

TEST(IntelHex, ShortAndLongLinesAreRefused) {
    EXPECT_EQ(refusalOf(":\n"),
              "image.hex:1: the line is too short: 0 bytes, a record has at least 5");
    EXPECT_EQ(refusalOf(":00000001\n"),
              "image.hex:1: the line is too short: 4 bytes, a record has at least 5");
    EXPECT_EQ(refusalOf(":04003000023379\n"),
              "image.hex:1: the record names 4 data bytes but has 2");
    EXPECT_EQ(refusalOf(":0100300002337A1E\n"),
              "image.hex:1: the record names 1 data bytes but has 3");
}

TEST(IntelHex, WrongChecksumIsRefusedWithBothValues) {
    EXPECT_EQ(refusalOf("\n:0300300002337A1F\n"),
              "image.hex:2: wrong checksum: expected 0x1E, found 0x1F");
}

TEST(IntelHex, ChecksumOfZeroIsRight) {
    EXPECT_EQ(refusalOf(":01000000FF00\n:00000001FF\n"), "accepted");
}

TEST(IntelHex, EndRecordIsNeededOnceAndLast) {
    const std::string data = line({1, 0, 0, 0, 5});
    EXPECT_EQ(refusalOf(data), "image.hex:1: the end record is missing; the file may be cut off");
    EXPECT_EQ(refusalOf(data + kEnd + "\r\n" + data),
              "image.hex:4: the end record is not the last one");
    EXPECT_EQ(refusalOf(data + kEnd + kEnd), "image.hex:3: the end record is not the last one");
    EXPECT_EQ(refusalOf(line({1, 0, 0, 1, 9})),
              "image.hex:1: an end record carries no data, this one 1 bytes");
    EXPECT_EQ(refusalOf(""), "image.hex:0: the file is empty");
}

TEST(IntelHex, AddressesAreCheckedWithTheLine) {
    const std::string first = line({2, 0x00, 0x10, 0, 1, 2});
    EXPECT_EQ(refusalOf(first + line({1, 0x00, 0x11, 0, 3}) + kEnd),
              "image.hex:2: address 0x0011 was written by an earlier record");
    EXPECT_EQ(refusalOf(first + line({2, 0xFF, 0xFF, 0, 1, 2}) + kEnd),
              "image.hex:2: the record at 0xFFFF of 2 bytes runs past address 0xFFFF");
    EXPECT_EQ(refusalOf(line({1, 0xE6, 0x00, 0, 1}) + kEnd),
              "image.hex:1: the record writes the CPU control register at 0xE600, which is the "
              "loader's to write");
}

Image readAny(const std::string& text) {
    return readImage(std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(ImageFormat, IsToldByContent) {
    const Image expected{{0x0100, {5}}};
    EXPECT_EQ(readAny("\n  \r\n" + line({1, 1, 0, 0, 5}) + kEnd), expected);
    EXPECT_EQ(readAny(std::string("\x01\x00\x01\x05\x00", 5)), expected);
}

TEST(ImageFormat, RawRecordsMayBeginWithAColon) {
    const std::string data(0x3A, '7');
    const Image image = readAny(":00" + data + std::string(1, '\0'));
    ASSERT_EQ(image.size(), 1U);
    EXPECT_EQ(image[0].address, 0x3030);
    EXPECT_EQ(image[0].data.size(), 0x3AU);
}

TEST(ImageFormat, EmptyAndBlankFilesAreRefused) {
    EXPECT_THROW(readAny(""), MalformedImage);
    EXPECT_THROW(readAny("\n\n"), MalformedImage);
}

} // namespace
} // namespace tavo::firmware
