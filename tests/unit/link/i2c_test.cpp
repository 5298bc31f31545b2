// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"
#include "link/wire.h"

#include <array>

namespace tavo::test {
namespace {

class I2CTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

TEST_F(I2CTest, SpeedAndTimeout) {
    usb().expect({frame({.code = 5, .subCode = 3}), frame({.code = 12, .subCode = 1, .a = 5000})});
    CapturedTrace trace;
    EXPECT_TRUE(peer.i2cSetSpeed(3U));
    EXPECT_TRUE(peer.i2cSetTimeout(5000U));
    EXPECT_EQ(
        trace.lines(),
        (Lines{"-> TavoCameraImpl::i2cSetSpeed(3)", "<- TavoCameraImpl::i2cSetSpeed 1",
               "-> TavoCameraImpl::i2cSetTimeout(5000)", "<- TavoCameraImpl::i2cSetTimeout 1"}));
}

TEST_F(I2CTest, WriteSendsTheWriteAddressFirst) {
    usb().expect(i2cWriteRows({0x80, 1, 2, 3, 4, 5}));
    const std::array<unsigned char, 5> data{1, 2, 3, 4, 5};
    CapturedTrace trace;
    EXPECT_TRUE(peer.i2cWrite(0x40U, data.data(), 5U));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::i2cWrite(64, [0x01 0x02 0x03 0x04...], 5)",
                                    "<- TavoCameraImpl::i2cWrite 1"}));
}

TEST_F(I2CTest, ReadSendsTheReadAddress) {
    usb().expect(i2cReadRows(0x81, {0xAB, 0xCD}));
    std::array<unsigned char, 3> buffer{9, 9, 9};
    CapturedTrace trace;
    EXPECT_TRUE(peer.i2cRead(0x40U, buffer.data(), 2U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 3>{0xAB, 0xCD, 9}));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::i2cRead(64, ..., 2)",
                                    "<- TavoCameraImpl::i2cRead 1 [0xab 0xcd]"}));
}

TEST_F(I2CTest, EepromAddressesAreOneByte) {
    const struct {
        unsigned address;
        std::uint8_t sent;
    } rows[]{{3, 0x03}, {42, 0x2A}, {255, 0xFF}, {256, 0x00}, {1000, 0xE8}};
    for (const auto& row : rows) {
        usb().expect(eepromRows(row.sent, {7, 8, 9}));
        std::array<unsigned char, 3> buffer{};
        EXPECT_TRUE(peer.eepRead(row.address, buffer.data(), 3U));
        EXPECT_EQ(buffer, (std::array<unsigned char, 3>{7, 8, 9}));
    }
}

TEST_F(I2CTest, EepromTrace) {
    usb().queueIn(0x86, {0, 0, 0, 0, 0, 0x2E, 0xDF, 0, 0, 0});
    std::array<unsigned char, 2> buffer{};
    CapturedTrace trace;
    EXPECT_TRUE(peer.eepRead(1000U, buffer.data(), 2U));
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::eepRead(1000, ..., 2)",
                     " -> TavoCameraImpl::i2cWrite(81, [0x00 0xe8], 2)",
                     " <- TavoCameraImpl::i2cWrite 1", " -> TavoCameraImpl::i2cRead(81, ..., 2)",
                     " <- TavoCameraImpl::i2cRead 1 [0x2e 0xdf]",
                     "<- TavoCameraImpl::eepRead 1 [0x2e 0xdf]"}));
}

TEST_F(I2CTest, EepromReadsNothingWhenItsAddressWasNotTaken) {
    usb().expect({frame({.code = 4, .flag = true, .b = 1, .payload = {0xA2, 0, 3}}),
                  inZeros(0x86, 4).failing(LIBUSB_ERROR_TIMEOUT)});
    std::array<unsigned char, 2> buffer{9, 9};
    CapturedTrace trace;
    EXPECT_FALSE(peer.eepRead(3U, buffer.data(), 2U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 2>{9, 9}));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::eepRead(3, ..., 2)",
                                    " -> TavoCameraImpl::i2cWrite(81, [0x00 0x03], 2)",
                                    "     libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT",
                                    " <- TavoCameraImpl::i2cWrite 0",
                                    "<- TavoCameraImpl::eepRead 0 [0x09 0x09]"}));
}

TEST_F(I2CTest, TraceOfFailures) {
    usb().failTransfer(1, kInputOutputError, Repeat::fromThenOn);
    const std::string failed = "    libusb_bulk_transfer -> LIBUSB_ERROR_IO ";
    unsigned char byte = 5;
    CapturedTrace trace;
    peer.i2cSetSpeed(0U);
    peer.i2cSetTimeout(50U);
    peer.i2cRead(0x51U, &byte, 1U);
    EXPECT_EQ(
        trace.lines(),
        (Lines{"-> TavoCameraImpl::i2cSetSpeed(0)", failed, "<- TavoCameraImpl::i2cSetSpeed 0",
               "-> TavoCameraImpl::i2cSetTimeout(50)", failed, "<- TavoCameraImpl::i2cSetTimeout 0",
               "-> TavoCameraImpl::i2cRead(81, ..., 1)", failed,
               "<- TavoCameraImpl::i2cRead 0 [0x05]"}));
}

} // namespace
} // namespace tavo::test
