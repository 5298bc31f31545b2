// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/opening_test.h"
#include "link/gpif_tables.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = RIDGE_CAMERA;
constexpr unsigned kFlags = 0x1283; // FIFO, INTERLACED, shutter, guide port, GPIO, wheel

Rows contact() {
    return together({{parallelTimeout(1000)},
                     engineTable(GpifMode9),
                     command(kType, 80, {100}),
                     {pause(20000)},
                     parallelIn({101, 0})});
}

Rows description() {
    return together({command(kType, 1), parallelIn({2, 0x99, 4, 0x99}), text("Ab"), text("Cde"),
                     shortWord(kFlags), shortWord(1392), shortWord(1040), shortWord(650),
                     shortWord(740), shortWord(4), shortWord(8), shortWord(40000)});
}

Rows applicationStart() {
    return together({command(kType, 44),
                     {pause(10000)},
                     parallelIn({'i', 0}),
                     {pause(10000)},
                     parallelIn({'I', 0})});
}

Rows properties() {
    return together({command(kType, 54, {}, {1, 0}),
                     temperatureCommand(kType, {1, 0}, {2, 0, 0x10, 2, 0, 0}),
                     command(kType, 52, {}, {0x10, 0x05, 0x32, 0x00, 0x64, 0x00})});
}

Rows wheelSettling() {
    return together({{pause(5000000)},
                     command(kType, 135, {}, {5, 0, 1, 0, 2, 0, 4, 0}),
                     {pause(100000)},
                     command(kType, 135, {}, {5, 0, 0, 0, 4, 0, 4, 0})});
}

Rows healthyOpen() {
    return within(30000, together({usbOpen(kType),
                                   controllerStart(kType),
                                   identify(0xDF2C, {0x84, 0xD9, 0x01, 0x02, 0x55}),
                                   contact(),
                                   description(),
                                   applicationStart(),
                                   properties(),
                                   wheelSettling(),
                                   eeprom(5, {0x01, 0x02}),
                                   eeprom(8, {0x03, 0x04}),
                                   {i2cTimeout(200), parallelTimeout(2000)}}));
}

Lines pingLines() {
    return call("ping()", "ping 1",
                {say("ping -> 100"), commandLines(kType, 80, {100}), say("ping <- 101")});
}

Lines descriptionLines() {
    return joinedLines(
        {commandLines(kType, 1), say("version: 4.2"), say("model: Ab"), say("manufacturer: Cde"),
         say("flags: 0x1283  FIFO INTERLACED HAS_SHUTTER HAS_GUIDE_PORT HAS_GPIO HAS_FILTER_WHEEL"),
         say("pixel count: 1392 x 1040"), say("pixel size: 6.5 x 7.4"), say("max bin: 4 x 8"),
         say("well capacity: 40000")});
}

Lines propertyLines() {
    return joinedLines({commandLines(kType, 54, {}, {1, 0}), say("temperature sensor count: 1"),
                        call("getTemperatureSensorStatus(1, ...)", "getTemperatureSensorStatus 1",
                             {say("lock()"), commandLines(kType, 55, {1, 0}, {2, 0, 0x10, 2, 0, 0}),
                              say("unlock()")}),
                        say("temperature sensor type: 2"),
                        commandLines(kType, 52, {}, {0x10, 5, 0x32, 0, 0x64, 0}),
                        say("cooler: COOLER_SETPOINT"), say("min cooler power: 100"),
                        say("max cooler power: 50")});
}

Lines wheelLines(const Bytes& reply, const std::string& moving) {
    return call("getFilterWheelStatus(...)", "getFilterWheelStatus 1",
                {say("lock()"), commandLines(kType, 135, {}, reply), say("moving: " + moving),
                 say("unlock()")});
}

Lines healthyTrace() {
    return operation(
        "open()", "open 1",
        {usbLines(kType), controllerLines(kType),
         identifyLines({0x2C, 0xDF}, {0x84, 0xD9, 0x01, 0x02, 0x55},
                       "colour = 2, offsetX = 1, offsetY = 0"),
         say("pid = df2c"), done("setParTimeout(1000)"),
         call("parInit(9)", "parInit 1", {done("parInit(...)")}), pingLines(), descriptionLines(),
         call("appInit()", "appInit 1",
              {commandLines(kType, 44), quietSection(), say("APPINIT completed")}),
         propertyLines(), wheelLines({5, 0, 1, 0, 2, 0, 4, 0}, "1"),
         wheelLines({5, 0, 0, 0, 4, 0, 4, 0}, "0"), eepromLines(5, {1, 2}), eepromLines(8, {3, 4}),
         say("serial # 0067305985"), done("i2cSetTimeout(200)"), done("setParTimeout(2000)")});
}

class RidgeOpen : public OpeningTest {
protected:
    RidgeOpen() : OpeningTest(kType) {}
};

TEST_F(RidgeOpen, Conversation) {
    expectConversation(healthyOpen());
}

TEST_F(RidgeOpen, Trace) {
    expectTrace(healthyOpen(), healthyTrace());
}

TEST_F(RidgeOpen, FillsTheFields) {
    usb().expect(healthyOpen());
    ASSERT_TRUE(camera->open());
    EXPECT_TRUE(peer.hasShutter());
    EXPECT_TRUE(peer.hasGuidePort());
    EXPECT_TRUE(peer.hasFilterWheel());
    EXPECT_FALSE(peer.hasGPIO());
    EXPECT_FALSE(peer.has8BitMode());
    EXPECT_EQ(camera->getVersionMajor(), 4u);
    EXPECT_EQ(camera->getVersionMinor(), 2u);
    EXPECT_EQ(camera->getSerialNumber(), 0x04030201u);
    EXPECT_EQ(peer.pixelCountX(), 1392u);
    EXPECT_EQ(peer.pixelCountY(), 1040u);
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 6.5);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 7.4);
    EXPECT_EQ(peer.maxBinX(), 4u);
    EXPECT_EQ(peer.maxBinY(), 8u);
    EXPECT_EQ(peer.tempSensorCount(), 1u);
    EXPECT_EQ(peer.tempSensorType(), 2u);
    EXPECT_EQ(peer.coolerType(), COOLER_SETPOINT);
    EXPECT_EQ(peer.minCoolerPower(), 100);
    EXPECT_EQ(peer.maxCoolerPower(), 50);
    EXPECT_EQ(peer.colourType(), COLOUR_BAYER);
    EXPECT_EQ(peer.offsetX(), 1);
    EXPECT_EQ(peer.offsetY(), 0);
}

TEST_F(RidgeOpen, TwoModelsReportTheWrongSensorSize) {
    struct Model {
        unsigned productId, countX, countY;
    };
    for (const Model& model : {Model{0xDF31, 3326, 2504}, Model{0xDF50, 4499, 3599},
                               Model{0xDF30, 1392, 1040}, Model{0xDF32, 1392, 1040}}) {
        EXPECT_TRUE(play({.countX = 1392, .countY = 1040, .productId = model.productId}));
        EXPECT_EQ(peer.pixelCountX(), model.countX) << std::hex << model.productId;
        EXPECT_EQ(peer.pixelCountY(), model.countY) << std::hex << model.productId;
        camera->close();
    }
}

TEST_F(RidgeOpen, FlagsBecomeCapabilities) {
    for (const unsigned flags : {0x0000u, 0x0080u, 0x0100u, 0x0200u, 0x0800u, 0x1000u, 0xFFFFu}) {
        EXPECT_TRUE(play({.flags = flags}));
        EXPECT_EQ(peer.hasShutter(), (flags & 0x0080) != 0) << std::hex << flags;
        EXPECT_EQ(peer.hasGuidePort(), (flags & 0x0100) == 0) << std::hex << flags;
        EXPECT_EQ(peer.hasFilterWheel(), (flags & 0x1000) != 0) << std::hex << flags;
        EXPECT_FALSE(peer.hasGPIO()) << std::hex << flags;
        EXPECT_FALSE(peer.has8BitMode()) << std::hex << flags;
        camera->close();
    }
    EXPECT_EQ(script.countOf(130), 0u);
}

TEST_F(RidgeOpen, WithoutSensorsNoneIsAskedAbout) {
    EXPECT_TRUE(play({.sensorCount = 0}));
    EXPECT_EQ(script.countOf(55), 0u);
    EXPECT_EQ(peer.tempSensorCount(), 0u);
    EXPECT_EQ(peer.tempSensorType(), 0u);
}

TEST_F(RidgeOpen, CountsSensorsByTheFirstByteAlone) {
    script.reply(54, {3, 7});
    EXPECT_TRUE(play(script));
    EXPECT_EQ(peer.tempSensorCount(), 3u);
    ASSERT_EQ(script.countOf(55), 1u);
}

TEST_F(RidgeOpen, PingsUpToFiveTimes) {
    script.replies(80, {{0, 0}, {100, 0}, {}, {7, 7}, {105, 0}});
    EXPECT_TRUE(play(script));
    EXPECT_EQ(script.countOf(80), 5u);
}

TEST_F(RidgeOpen, SilentCameraFailsAfterFivePings) {
    script.silence(80);
    EXPECT_FALSE(play(script));
    EXPECT_EQ(usb().pauses(), (std::vector<long>{200000, 20000, 20000, 20000, 20000, 20000}));
    EXPECT_STREQ(camera->getLastError(), "Failed to initialize device");
    EXPECT_EQ(script.countOf(1), 0u);
}

// A name has room for 29 characters and the byte of no meaning behind the last one. What follows in
// the stream is taken for the next field.
TEST_F(RidgeOpen, EndlessNameIsCut) {
    script = healthyCamera(kType, {.model = std::string(28, 'm'), .maker = std::string(28, 'n')});
    CapturedTrace trace;
    EXPECT_TRUE(play(script));
    EXPECT_TRUE(trace.contains("    model: " + std::string(28, 'm')));
    EXPECT_TRUE(trace.contains("    manufacturer: " + std::string(28, 'n')));

    camera->close();
    trace.forget();
    Bytes hostile{2, 0, 4, 0};
    hostile.resize(4 + 2 * 200, 'x');
    script.reply(1, hostile);
    EXPECT_TRUE(play(script));
    EXPECT_TRUE(trace.contains("    model: " + std::string(30, 'x')));
    EXPECT_TRUE(trace.contains("    pixel count: 30840 x 30840"));
}

} // namespace
} // namespace tavo::test
