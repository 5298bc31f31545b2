// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/opening_test.h"
#include "link/gpif_tables.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = HERON_CAMERA;

const Bytes kAdcSettings{0x80, 0x01, 0x12, 0x34, 0xFF, 0xFF, 0x00, 0x00,
                         0xA5, 0x5A, 0x00, 0x01, 0x80, 0x00, 0x0F, 0xF0};

Bytes descriptionBytes() {
    Bytes bytes{2,    4,    'A',  'b',  0,  'C', 'd', 'e', 0,   0x07, // to the flags
                0x70, 0x05, 0x10, 0x04, 65, 74,  3,   5,   0xFF};
    bytes.resize(64, 0x77);
    return bytes;
}

Rows contact() {
    Rows lines;
    for (unsigned line = 0; line < 8; ++line)
        lines.push_back(lineDirection(line, line != 3 && line != 4));
    return together({engineTable(GpifMode1),
                     engineTable(ParInitQSlowData),
                     lines,
                     {portState(0, 0x1F, 0xC0), portDirection(0, 0x0F, 0xE0), lineState(1, true),
                      lineState(1, false), lineState(2, true)},
                     eeprom(3, {0x2E, 0xDF}),
                     {parallelTimeout(2000), pause(200000)}});
}

// Line 6 is the clock, 5 the data, 2 the select; most significant bit first.
Rows adcProgramming() {
    Rows rows = eeprom(10, kAdcSettings);
    for (std::size_t word = 0; word < kAdcSettings.size(); word += 2) {
        rows.push_back(lineState(6, false));
        rows.push_back(lineState(2, false));
        for (int bit = 15; bit >= 0; --bit) {
            const unsigned value = kAdcSettings[word] * 256u + kAdcSettings[word + 1];
            rows.push_back(lineState(5, (value >> bit & 1) != 0));
            rows.push_back(lineState(6, true));
            rows.push_back(lineState(6, false));
        }
        rows.push_back(lineState(2, true));
    }
    return rows;
}

Rows healthyOpen() {
    return within(30000, together({usbOpen(kType),
                                   controllerStart(kType),
                                   identify(0xDF2E, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
                                   contact(),
                                   eeprom(42, descriptionBytes()),
                                   eeprom(5, {0x01, 0x02}),
                                   eeprom(8, {0x03, 0x04}),
                                   adcProgramming(),
                                   {i2cTimeout(200), parallelTimeout(2000)}}));
}

Lines contactLines() {
    return joinedLines({call("parInit(1)", "parInit 1", {done("parInit(...)")}),
                        done("parInit(...)"), done("setIODir(0, 1)"), done("setIODir(1, 1)"),
                        done("setIODir(2, 1)"), done("setIODir(3, 0)"), done("setIODir(4, 0)"),
                        done("setIODir(5, 1)"), done("setIODir(6, 1)"), done("setIODir(7, 1)"),
                        done("spiInit()"), done("setIOState(1, 1)"), done("setIOState(1, 0)"),
                        done("setIOState(2, 1)"),
                        call("ping()", "ping 1", {eepromLines(3, {0x2E, 0xDF}), say("ping ok")}),
                        done("setParTimeout(2000)")});
}

Lines healthyTrace() {
    return operation(
        "open()", "open 1",
        {usbLines(kType),
         controllerLines(kType),
         identifyLines({0x2E, 0xDF}, Bytes(5, 0xFF), "colour = 1, offsetX = 0, offsetY = 0"),
         say("pid = df2e"),
         contactLines(),
         eepromLines(42, descriptionBytes()),
         say("version: 4.2"),
         say("model: Ab"),
         say("manufacturer: Cde"),
         say("flags: 0x7  HAS_GUIDE_PORT NO_FAST_USB PC_CDS"),
         say("pixel count: 1392 x 1040"),
         say("pixel size: 6.5 x 7.4"),
         say("max bin: 3 x 5"),
         say("precharge offset: -32"),
         eepromLines(5, {1, 2}),
         eepromLines(8, {3, 4}),
         say("serial # 0067305985"),
         call("setADC()", "setADC 1", {eepromLines(10, kAdcSettings), quietSection()}),
         done("i2cSetTimeout(200)"),
         done("setParTimeout(2000)")});
}

class HeronOpen : public OpeningTest {
protected:
    HeronOpen() : OpeningTest(kType) {}
};

TEST_F(HeronOpen, Conversation) {
    expectConversation(healthyOpen());
}

TEST_F(HeronOpen, Trace) {
    expectTrace(healthyOpen(), healthyTrace());
}

TEST_F(HeronOpen, FillsTheFields) {
    peer.hasShutter() = peer.hasFilterWheel() = peer.hasGPIO() = peer.has8BitMode() = true;
    peer.tempSensorCount() = 3;
    peer.coolerType() = COOLER_SETPOINT;
    usb().expect(healthyOpen());
    ASSERT_TRUE(camera->open());
    EXPECT_TRUE(peer.hasGuidePort());
    EXPECT_TRUE(peer.prechargeSubtraction());
    EXPECT_EQ(peer.prechargeOffset(), -32);
    EXPECT_EQ(camera->getVersionMajor(), 4u);
    EXPECT_EQ(camera->getVersionMinor(), 2u);
    EXPECT_EQ(camera->getSerialNumber(), 0x04030201u);
    EXPECT_EQ(peer.pixelCountX(), 1392u);
    EXPECT_EQ(peer.pixelCountY(), 1040u);
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 6.5);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 7.4);
    EXPECT_EQ(peer.maxBinX(), 3u);
    EXPECT_EQ(peer.maxBinY(), 5u);
    EXPECT_EQ(peer.colourType(), COLOUR_MONO);
    EXPECT_FALSE(peer.hasShutter());
    EXPECT_FALSE(peer.hasFilterWheel());
    EXPECT_FALSE(peer.hasGPIO());
    EXPECT_FALSE(peer.has8BitMode());
    EXPECT_EQ(peer.tempSensorCount(), 0u);
    EXPECT_EQ(peer.coolerType(), COOLER_NONE);
}

TEST_F(HeronOpen, PrechargeOffsetIsSigned) {
    for (const int units : {-128, -1, 0, 5, 127}) {
        EXPECT_TRUE(play({.flags = 0, .precharge = units}));
        EXPECT_EQ(peer.prechargeOffset(), units * 32);
        EXPECT_FALSE(peer.prechargeSubtraction());
        EXPECT_FALSE(peer.hasGuidePort());
        camera->close();
    }
}

TEST_F(HeronOpen, PixelSizesAreTenthsUpToTheLastBit) {
    EXPECT_TRUE(play({.sizeX = 2550, .sizeY = 10}));
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 25.5);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 0.1);
}

// The first two models pass; the others are turned away by their own product ids.
TEST_F(HeronOpen, PingWantsTheIdOfTheFirstTwoModels) {
    for (const unsigned id : {0xDF2Eu, 0xDF2Fu}) {
        EXPECT_TRUE(play({.productId = id}));
        camera->close();
    }
    for (const unsigned id : {0xDFABu, 0xDFADu, 0xDFAEu, 0x2EDFu, 0u}) {
        EXPECT_FALSE(play({.productId = id})) << std::hex << id;
        EXPECT_STREQ(camera->getLastError(), "Failed to initialize device");
    }
}

// An EEPROM that was never written has no end in its strings.
TEST_F(HeronOpen, UnwrittenEepromOpensWithZeroes) {
    CameraScript blank = healthyCamera(kType);
    std::fill(blank.eeprom.begin() + 10, blank.eeprom.end(), std::uint8_t{0xFF});
    CapturedTrace trace;
    EXPECT_TRUE(play(blank));
    EXPECT_EQ(camera->getVersionMajor(), 255u);
    EXPECT_EQ(peer.pixelCountX(), 0u);
    EXPECT_EQ(peer.maxBinY(), 0u);
    EXPECT_EQ(peer.prechargeOffset(), 0);
    EXPECT_TRUE(trace.contains("    model: " + std::string(62, '\xFF')));
    EXPECT_TRUE(trace.contains("    manufacturer: "));
}

} // namespace
} // namespace tavo::test
