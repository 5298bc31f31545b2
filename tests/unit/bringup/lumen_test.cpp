// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/opening_test.h"
#include "link/gpif_tables.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = LUMEN_CAMERA;
const Bytes kPing{0x00, 0x7B};
const Bytes kPingPlusOne{0x00, 0x7C};

// The first byte of each version number does not count. All flags but the guide port's.
Bytes descriptionBytes() {
    Bytes bytes{0x77, 2,    0x77, 4,                      // version
                0,    'A',  0,    'b',  0,    0,          // model
                0,    'C',  0,    'd',  0,    'e',  0, 0, // manufacturer
                0x1E, 0xFF, 0x05, 0x70, 0x04, 0x10,       // flags, pixel counts
                0x02, 0x8A, 0x02, 0xE4, 0,    4,    0, 8, // pixel sizes, binning
                0x9C, 0x40};                              // well capacity
    bytes.resize(128, 0x77);
    return bytes;
}

Rows pings() {
    return together({command(kType, 253, kPing, kPing), command(kType, 80, kPing, kPingPlusOne)});
}

Rows contact() {
    Rows lines;
    for (unsigned line = 0; line < 8; ++line)
        lines.push_back(lineDirection(line, line != 3 && line != 4));
    return together({engineTable(GpifMode1),
                     engineTable(ParInitQSlowData),
                     lines,
                     {portState(0, 0x1F, 0x80), portDirection(0, 0x0F, 0xE0),
                      lineDirection(0, true), lineState(0, false), pause(200000)},
                     pings(),
                     {parallelTimeout(2000), pause(200000)},
                     pings()});
}

// Each poll sends what the one before received.
Rows statusPoll(std::uint8_t before, std::uint8_t status) {
    return together(
        {{pause(10000)},
         framedExchange({.code = 6, .subCode = 2, .a = 3, .b = 1, .payload = {before}}, {status})});
}

Rows properties() {
    return together({command(kType, 145, {}, {0x01, 0x2D}),
                     command(kType, 44),
                     statusPoll(0, 'B'),
                     statusPoll('B', 'I'),
                     command(kType, 54, {}, {0, 1}),
                     command(kType, 55, {0, 1}, {0, 2, 0x02, 0x10, 0, 0}),
                     command(kType, 52, {}, {0x01, 0x0C, 0x01, 0x00, 0x00, 0x02}),
                     command(kType, 130, {}, {0x01, 0x06, 0x55, 0x55}),
                     command(kType, 62, {}, {0x11, 0x11, 0x11, 0x11, 0x12, 0x34}),
                     {pause(5000000)},
                     command(kType, 135, {}, {0, 5, 1, 0, 0, 2, 0, 4}),
                     {pause(100000)},
                     command(kType, 135, {}, {0, 5, 0, 0, 0, 4, 0, 4})});
}

Rows healthyOpen() {
    return within(30000, together({usbOpen(kType),
                                   controllerStart(kType),
                                   identify(0xDF3B, {0x84, 0xD9, 0x01, 0x03, 0}),
                                   contact(),
                                   command(kType, 1, {}, descriptionBytes()),
                                   properties(),
                                   {i2cTimeout(200), parallelTimeout(2000)}}));
}

Lines pingLines() {
    return call("ping()", "ping 1",
                {commandLines(kType, 253, kPing, kPing), say("kernel ping ok"),
                 commandLines(kType, 80, kPing, kPingPlusOne), say("application ping ok")});
}

Lines contactLines() {
    return joinedLines({call("parInit(1)", "parInit 1", {done("parInit(...)")}),
                        done("parInit(...)"), done("setIODir(0, 1)"), done("setIODir(1, 1)"),
                        done("setIODir(2, 1)"), done("setIODir(3, 0)"), done("setIODir(4, 0)"),
                        done("setIODir(5, 1)"), done("setIODir(6, 1)"), done("setIODir(7, 1)"),
                        done("spiInit()"), done("setIODir(0, 1)"), done("setIOState(0, 0)"),
                        pingLines(), done("setParTimeout(2000)"), pingLines()});
}

Lines descriptionLines() {
    return joinedLines(
        {commandLines(kType, 1, {}, descriptionBytes()), say("version: 4.2"), say("model: Ab"),
         say("manufacturer: Cde"),
         say("flags: 0x1eff  INTERLACED EXT_TRIGGER PREVIEW SUBSAMPLE OVERLAP HAS_SHUTTER "
             "HAS_GUIDE_PORT HAS_GPIO HAS_WINDOW_HEATER HAS_8_BIT_MODE HAS_FILTER_WHEEL"),
         say("pixel count: 1392 x 1040"), say("pixel size: 6.5 x 7.4"), say("max bin: 4 x 8"),
         say("well capacity: 40000"), commandLines(kType, 145, {}, {0x01, 0x2D}),
         say("VReg clear time: 301000us")});
}

Lines wheelLines(const Bytes& reply, const std::string& moving) {
    return call("getFilterWheelStatus(...)", "getFilterWheelStatus 1",
                {say("lock()"), commandLines(kType, 135, {}, reply), say("moving: " + moving),
                 say("unlock()")});
}

Lines propertyLines() {
    return joinedLines(
        {call("appInit()", "appInit 1",
              {commandLines(kType, 44), quietSection(), say("APPINIT completed")}),
         commandLines(kType, 54, {}, {0, 1}), say("temperature sensor count: 1"),
         call("getTemperatureSensorStatus(1, ...)", "getTemperatureSensorStatus 1",
              {say("lock()"), commandLines(kType, 55, {0, 1}, {0, 2, 0x02, 0x10, 0, 0}),
               say("temperature senzor type: 2"), say("unlock()")}),
         say("temperature sensor type: 2"),
         commandLines(kType, 52, {}, {0x01, 0x0C, 0x01, 0x00, 0x00, 0x02}),
         say("cooler: COOLER_SELECTPOWER"), say("min cooler power: 2"),
         say("max cooler power: 256"), commandLines(kType, 130, {}, {0x01, 0x06, 0x55, 0x55}),
         say("GPIO line count: 262"),
         commandLines(kType, 62, {}, {0x11, 0x11, 0x11, 0x11, 0x12, 0x34}),
         say("serial # 0000004660")});
}

Lines healthyTrace() {
    return operation("open()", "open 1",
                     {usbLines(kType), controllerLines(kType),
                      identifyLines({0x3B, 0xDF}, {0x84, 0xD9, 0x01, 0x03, 0},
                                    "colour = 2, offsetX = 1, offsetY = 1"),
                      say("pid = df3b"), contactLines(), descriptionLines(), propertyLines(),
                      wheelLines({0, 5, 1, 0, 0, 2, 0, 4}, "1"),
                      wheelLines({0, 5, 0, 0, 0, 4, 0, 4}, "0"), done("i2cSetTimeout(200)"),
                      done("setParTimeout(2000)")});
}

class LumenOpen : public OpeningTest {
protected:
    LumenOpen() : OpeningTest(kType) {}
};

TEST_F(LumenOpen, Conversation) {
    expectConversation(healthyOpen());
}

TEST_F(LumenOpen, Trace) {
    expectTrace(healthyOpen(), healthyTrace());
}

TEST_F(LumenOpen, FillsTheFields) {
    usb().expect(healthyOpen());
    ASSERT_TRUE(camera->open());
    EXPECT_FALSE(peer.hasShutter()); // traced, not stored
    EXPECT_TRUE(peer.hasGuidePort());
    EXPECT_TRUE(peer.hasGPIO());
    EXPECT_TRUE(peer.has8BitMode());
    EXPECT_TRUE(peer.hasFilterWheel());
    EXPECT_EQ(camera->getVersionMajor(), 4u);
    EXPECT_EQ(camera->getVersionMinor(), 2u);
    EXPECT_EQ(camera->getSerialNumber(), 0x1234u);
    EXPECT_EQ(peer.pixelCountX(), 1392u);
    EXPECT_EQ(peer.pixelCountY(), 1040u);
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 6.5);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 7.4);
    EXPECT_EQ(peer.maxBinX(), 4u);
    EXPECT_EQ(peer.maxBinY(), 8u);
    EXPECT_EQ(peer.vregClearTime(), 301000);
    EXPECT_EQ(peer.tempSensorCount(), 1u);
    EXPECT_EQ(peer.tempSensorType(), 2u);
    EXPECT_EQ(peer.coolerType(), COOLER_SELECTPOWER);
    EXPECT_EQ(peer.minCoolerPower(), 2);
    EXPECT_EQ(peer.maxCoolerPower(), 256);
    EXPECT_EQ(peer.gpioLineCount(), 262u);
    EXPECT_EQ(peer.colourType(), COLOUR_BAYER);
}

TEST_F(LumenOpen, ClearTimeIsAskedOfNewerFirmwareOnly) {
    for (const unsigned major : {0u, 1u}) {
        peer.vregClearTime() = 1;
        EXPECT_TRUE(play({.versionMajor = major, .clearTime = 999}));
        EXPECT_EQ(script.countOf(145), 0u);
        EXPECT_EQ(peer.vregClearTime(), 300000);
        camera->close();
    }
    for (const unsigned milliseconds : {0u, 300u, 65535u}) {
        EXPECT_TRUE(play({.versionMajor = 2, .clearTime = milliseconds}));
        EXPECT_EQ(script.countOf(145), 1u);
        EXPECT_EQ(peer.vregClearTime(), std::int64_t{milliseconds} * 1000);
        camera->close();
    }
}

TEST_F(LumenOpen, FlagsBecomeCapabilities) {
    for (const unsigned flags : {0x0000u, 0x0080u, 0x0100u, 0x0200u, 0x0800u, 0x1000u, 0xFFFFu}) {
        EXPECT_TRUE(play({.flags = flags}));
        EXPECT_FALSE(peer.hasShutter()) << std::hex << flags;
        EXPECT_EQ(peer.hasGuidePort(), (flags & 0x0100) == 0) << std::hex << flags;
        EXPECT_EQ(peer.hasGPIO(), (flags & 0x0200) != 0) << std::hex << flags;
        EXPECT_EQ(peer.has8BitMode(), (flags & 0x0800) != 0) << std::hex << flags;
        EXPECT_EQ(peer.hasFilterWheel(), (flags & 0x1000) != 0) << std::hex << flags;
        camera->close();
    }
}

TEST_F(LumenOpen, WithoutGPIOTheLinesAreNotCounted) {
    peer.gpioLineCount() = 77;
    EXPECT_TRUE(play({.flags = 0, .gpioLines = 6}));
    EXPECT_EQ(script.countOf(130), 0u);
    EXPECT_EQ(peer.gpioLineCount(), 77u);
}

TEST_F(LumenOpen, KeepsAShutterFlagOfItsOwn) {
    peer.hasShutter() = true;
    EXPECT_TRUE(play({.flags = 0}));
    EXPECT_TRUE(peer.hasShutter());
}

TEST_F(LumenOpen, SensorCountHasTwoBytes) {
    EXPECT_TRUE(play({.sensorCount = 0x0102}));
    EXPECT_EQ(peer.tempSensorCount(), 0x0102u);
    camera->close();
    EXPECT_TRUE(play({.sensorCount = 0}));
    EXPECT_EQ(script.countOf(55), 0u);
}

TEST_F(LumenOpen, KernelPingIsNotRepeated) {
    CameraScript changed = healthyCamera(kType);
    changed.reply(253, {0x00, 0x7C});
    CapturedTrace trace;
    EXPECT_FALSE(play(changed));
    EXPECT_EQ(script.countOf(253), 1u);
    EXPECT_EQ(script.countOf(80), 0u);
    EXPECT_TRUE(trace.contains("     kernel ping failed (123 124)"));
}

TEST_F(LumenOpen, ApplicationPingMustCount) {
    CameraScript changed = healthyCamera(kType);
    changed.reply(80, {0x00, 0x7B});
    CapturedTrace trace;
    EXPECT_FALSE(play(changed));
    EXPECT_EQ(script.countOf(80), 1u);
    EXPECT_TRUE(trace.contains("     application ping failed (123 123)"));
    EXPECT_EQ(usb().pauses(), (std::vector<long>{200000, 200000, 200000}));
}

} // namespace
} // namespace tavo::test
