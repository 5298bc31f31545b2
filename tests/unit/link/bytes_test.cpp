// SPDX-License-Identifier: LGPL-2.1-or-later
#include "link/bytes.h"

#include "fake/unit_test.h"

#include <stdexcept>

namespace tavo::test {
namespace {

class BytesTest : public UnitTest {};

TEST_F(BytesTest, PayloadFollowsTheOrderOfItsFields) {
    const auto bytes = Payload<9>{}.u8(0x01).u16le(0x2345).u16be(0x6789).u32le(0xABCDEF12).done();
    EXPECT_EQ(Bytes(bytes.begin(), bytes.end()),
              (Bytes{0x01, 0x45, 0x23, 0x67, 0x89, 0x12, 0xEF, 0xCD, 0xAB}));
}

TEST_F(BytesTest, PayloadTakesTheLowBits) {
    const auto bytes = Payload<5>{}.u8(0x123).u16le(0xF4567).u16be(0xF89AB).done();
    EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), (Bytes{0x23, 0x67, 0x45, 0x89, 0xAB}));
}

TEST_F(BytesTest, PayloadStartsZeroed) {
    const auto bytes = Payload<3>{}.u8(7).done();
    EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), (Bytes{7, 0, 0}));
}

TEST_F(BytesTest, PayloadRefusesMoreThanItsLength) {
    Payload<2> payload;
    payload.u16be(1);
    EXPECT_THROW(payload.u8(1), std::out_of_range);
}

TEST_F(BytesTest, ReaderFollowsTheOrderOfItsFields) {
    const Bytes bytes{0x01, 0x45, 0x23, 0x67, 0x89};
    Reader reader(bytes);
    EXPECT_EQ(reader.u8(), 0x01);
    EXPECT_EQ(reader.u16le(), 0x2345);
    EXPECT_EQ(reader.u16be(), 0x6789);
}

TEST_F(BytesTest, ReaderPastTheEndGivesZeros) {
    const Bytes bytes{0x11};
    Reader little(bytes);
    EXPECT_EQ(little.u16le(), 0x0011);
    EXPECT_EQ(little.u16le(), 0);
    EXPECT_EQ(little.u8(), 0);
    Reader big(bytes);
    EXPECT_EQ(big.u16be(), 0x1100);
    EXPECT_EQ(big.u16be(), 0);
    Reader empty{std::span<const std::uint8_t>{}};
    EXPECT_EQ(empty.u8(), 0);
}

TEST_F(BytesTest, LittleEndianValues) {
    const Bytes bytes{0x78, 0x56, 0x34, 0x92};
    EXPECT_EQ(u16le(bytes.data()), 0x5678);
    EXPECT_EQ(u32le(bytes.data()), 0x92345678U);
}

TEST_F(BytesTest, SixteenBitValuesAreBigEndianAtTheirIndex) {
    Bytes bytes{0xEE, 0xEE, 0xEE, 0xEE};
    setInt16(bytes.data(), 1, 0xA5C3);
    EXPECT_EQ(bytes, (Bytes{0xEE, 0xA5, 0xC3, 0xEE}));
    EXPECT_EQ(getInt16(bytes.data(), 1), 0xA5C3U);
    EXPECT_EQ(getInt16(bytes.data(), 2), 0xC3EEU);
    setInt16(bytes.data(), 0, 0xF1234);
    EXPECT_EQ(bytes, (Bytes{0x12, 0x34, 0xC3, 0xEE}));
}

TEST_F(BytesTest, BuffersStartZeroed) {
    constexpr std::size_t kLength = 1000;
    const auto buffer = zeroedBuffer(kLength);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(Bytes(buffer.get(), buffer.get() + kLength), Bytes(kLength));
    EXPECT_NE(zeroedBuffer(0), nullptr);
}

} // namespace
} // namespace tavo::test
