// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"
#include "link/wire.h"

namespace tavo::test {
namespace {

constexpr std::uint8_t FF = 0xFF;

class SpiTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> heron = openedCamera(HERON_CAMERA);
    CameraPeer peer{*heron};
};

TEST_F(SpiTest, InitOfHeron) {
    usb().expect(portStateRows({0x1F, 0xC0, FF, 0, FF, 0, FF, 0, FF, 0}));
    usb().expect(portDirectionRows({0x0F, 0xE0, FF, 0, FF, 0, FF, 0, FF, 0}));
    CapturedTrace trace;
    EXPECT_TRUE(peer.spiInit());
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::spiInit()", "<- TavoCameraImpl::spiInit 1"}));
}

TEST_F(SpiTest, InitOfLumen) {
    usb().expect(portStateRows({0x1F, 0x80, FF, 0, FF, 0, FF, 0, FF, 0}));
    usb().expect(portDirectionRows({0x0F, 0xE0, FF, 0, FF, 0, FF, 0, FF, 0}));
    const auto lumen = openedCamera(LUMEN_CAMERA);
    EXPECT_TRUE(CameraPeer(*lumen).spiInit());
}

TEST_F(SpiTest, FailedInitSetsNoDirection) {
    usb().expect(
        {frame({.code = 1, .payload = {0x1F, 0xC0, FF, 0, FF, 0, FF, 0, FF, 0, 0, 0, 0, 0, 0, 0}})
             .failing(LIBUSB_ERROR_IO)});
    CapturedTrace trace;
    EXPECT_FALSE(peer.spiInit());
    EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::spiInit 0");
}

// One word, register above value, high byte first.
TEST_F(SpiTest, Write) {
    const struct {
        unsigned target, value;
        Bytes word;
    } rows[]{{2, 0x7A5, {0x27, 0xA5}},
             {8, 0x110, {0x81, 0x10}},
             {5, 4095, {0x5F, 0xFF}},
             {15, 0, {0xF0, 0x00}},
             {5, 0x1234, {0x52, 0x34}}};
    for (const auto& row : rows) {
        usb().expect(
            framedExchange({.code = 6, .subCode = 1, .b = 1, .payload = row.word}, {0xDE, 0xAD}));
        EXPECT_TRUE(peer.spiWrite(row.target, row.value));
    }
}

TEST_F(SpiTest, TraceOfWrites) {
    CapturedTrace trace;
    EXPECT_TRUE(peer.spiWrite(5U, 1000U));
    usb().failTransfer(2, kTimeout);
    EXPECT_FALSE(peer.spiWrite(2U, 0U));
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::spiWrite(5, 1000)", "<- TavoCameraImpl::spiWrite 1",
                     "-> TavoCameraImpl::spiWrite(2, 0)",
                     "    libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT",
                     "<- TavoCameraImpl::spiWrite 0"}));
}

using SpiDeathTest = SpiTest;

TEST_F(SpiDeathTest, OtherFamilies) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        const auto camera = openedCamera(type);
        EXPECT_EXIT(CameraPeer(*camera).spiInit(), testing::ExitedWithCode(1), assertionText(564));
    }
    for (const CAMERA_TYPE type :
         {BASIN_CAMERA, RIDGE_CAMERA, GLINT_CAMERA, LUMEN_CAMERA, kUnknownFamily}) {
        const auto camera = openedCamera(type);
        EXPECT_EXIT(CameraPeer(*camera).spiWrite(1U, 1U), testing::ExitedWithCode(1),
                    assertionText(586));
    }
}

Rows line(std::uint8_t bit, bool high) {
    return portStateRows({static_cast<std::uint8_t>(~bit),
                          static_cast<std::uint8_t>(high ? bit : 0), FF, 0, FF, 0, FF, 0, FF, 0});
}

// Clock is line 6, data line 5, select line 2, active low.
Rows shiftedWord(unsigned word) {
    constexpr std::uint8_t kClock = 0x40, kData = 0x20, kSelect = 0x04;
    Rows rows = together({line(kClock, false), line(kSelect, false)});
    for (unsigned mask = 0x8000; mask != 0; mask >>= 1)
        rows = together(
            {rows, line(kData, (word & mask) != 0), line(kClock, true), line(kClock, false)});
    return together({rows, line(kSelect, true)});
}

const Bytes kSettings{0x80, 0x01, 0x12, 0x34, 0xFF, 0xFF, 0x00, 0x00,
                      0xAA, 0x55, 0x0F, 0xF0, 0xDE, 0xAD, 0xBE, 0xEF};

TEST_F(SpiTest, FrontEndIsWrittenBitByBit) {
    Rows rows = eepromRows(10, kSettings);
    for (const unsigned word :
         {0x8001U, 0x1234U, 0xFFFFU, 0x0000U, 0xAA55U, 0x0FF0U, 0xDEADU, 0xBEEFU})
        rows = together({rows, shiftedWord(word)});
    usb().expect(rows);
    CapturedTrace trace;
    EXPECT_TRUE(peer.setADC());
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::setADC()", " -> TavoCameraImpl::eepRead(10, ..., 16)",
                     "  -> TavoCameraImpl::i2cWrite(81, [0x00 0x0a], 2)",
                     "  <- TavoCameraImpl::i2cWrite 1", "  -> TavoCameraImpl::i2cRead(81, ..., 16)",
                     "  <- TavoCameraImpl::i2cRead 1 [0x80 0x01 0x12 0x34...]",
                     " <- TavoCameraImpl::eepRead 1 [0x80 0x01 0x12 0x34...]",
                     "    ----- DEBUG OFF -----", "    ----- DEBUG ON -----",
                     "<- TavoCameraImpl::setADC 1"}));
}

TEST_F(SpiTest, FailedSettingsWriteNoLineButSwitchTheTrace) {
    usb().expect({frame({.code = 4, .flag = true, .b = 1, .payload = {0xA2, 0, 10}})
                      .failing(LIBUSB_ERROR_PIPE)});
    CapturedTrace trace;
    EXPECT_FALSE(peer.setADC());
    const Lines lines = trace.lines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"    ----- DEBUG OFF -----", "    ----- DEBUG ON -----",
                     "<- TavoCameraImpl::setADC 0"}));
}

TEST_F(SpiTest, FailedLineEndsTheFrontEnd) {
    usb().queueIn(0x86, Bytes(24, 0));
    usb().failTransfer(20, kTimeout);
    TavoDebugOn = 0;
    EXPECT_FALSE(peer.setADC());
    EXPECT_EQ(usb().transferCount(), 20U);
    EXPECT_EQ(TavoDebugOn, 1);
}

} // namespace
} // namespace tavo::test
