// SPDX-License-Identifier: LGPL-2.1-or-later
#include "records.h"

#include <gtest/gtest.h>

namespace tavo::firmware {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string refusalOf(const Bytes& file) {
    try {
        readRecords(file);
    } catch (const MalformedImage& error) {
        return error.describe("image.raw");
    }
    return "accepted";
}

TEST(Records, AreReadInFileOrder) {
    const Bytes file{2, 0x34, 0x12, 0xAA, 0xBB, 1, 0x00, 0x10, 0xCC, 0};
    const Image expected{{0x1234, {0xAA, 0xBB}}, {0x1000, {0xCC}}};
    EXPECT_EQ(readRecords(file), expected);
}

TEST(Records, WriteWhatWasRead) {
    Bytes file{255, 0x00, 0xFF};
    file[0] = 255;
    for (unsigned value = 0; value < 255; ++value) {
        file.push_back(static_cast<std::uint8_t>(value));
    }
    file.insert(file.end(), {1, 0xFF, 0xFF, 0x55, 0});
    EXPECT_EQ(writeRecords(readRecords(file)), file);
}

TEST(Records, LoneEndingByteIsTheEmptyImage) {
    EXPECT_TRUE(readRecords(Bytes{0}).empty());
    EXPECT_EQ(writeRecords({}), Bytes{0});
}

TEST(Records, EmptyFileIsRefused) {
    EXPECT_EQ(refusalOf({}), "image.raw: byte 0: the file is empty");
}

TEST(Records, CutOffRecordIsRefused) {
    EXPECT_EQ(refusalOf({1, 0, 0, 9, 4, 0x10, 0, 1, 2, 3}),
              "image.raw: byte 4: the record needs 7 bytes, 6 are left");
    EXPECT_EQ(refusalOf({7}), "image.raw: byte 0: the record needs 10 bytes, 1 are left");
}

TEST(Records, MissingEndingByteIsRefused) {
    EXPECT_EQ(refusalOf({1, 0, 0, 9}), "image.raw: byte 4: the ending length byte 0 is missing");
}

TEST(Records, TrailingBytesAreRefused) {
    EXPECT_EQ(refusalOf({1, 0, 0, 9, 0, 0xFF, 0xFF}),
              "image.raw: byte 5: 2 bytes follow the ending length byte 0");
}

TEST(Records, RecordMayEndAtTheLastAddressButNotBehind) {
    EXPECT_EQ(refusalOf({2, 0xFE, 0xFF, 1, 2, 0}), "accepted");
    EXPECT_EQ(refusalOf({2, 0xFF, 0xFF, 1, 2, 0}),
              "image.raw: byte 0: the record at 0xFFFF of 2 bytes runs past address 0xFFFF");
}

TEST(Records, CpuControlRegisterIsTheLoaders) {
    const std::string reason = "image.raw: byte 0: the record writes the CPU control register at "
                               "0xE600, which is the loader's to write";
    EXPECT_EQ(refusalOf({1, 0x00, 0xE6, 1, 0}), reason);
    EXPECT_EQ(refusalOf({2, 0xFF, 0xE5, 1, 1, 0}), reason);
    EXPECT_EQ(refusalOf({1, 0xFF, 0xE5, 1, 1, 0x01, 0xE6, 1, 0}), "accepted");
}

TEST(Records, OverlapIsRefused) {
    EXPECT_EQ(refusalOf({2, 0x10, 0, 1, 2, 1, 0x12, 0, 3, 2, 0x0F, 0, 4, 5, 0}),
              "image.raw: byte 9: address 0x0010 was written by an earlier record");
}

} // namespace
} // namespace tavo::firmware
