// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/opening_test.h"
#include "link/gpif_tables.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = BASIN_CAMERA;

Rows contact() {
    return together({{i2cTimeout(100), parallelTimeout(1000)},
                     engineTable(GpifMode1),
                     engineTable(ParInitData),
                     command(kType, 17, {100}),
                     {pause(50000)},
                     parallelIn({100, 0})});
}

Rows description() {
    return together({command(kType, 10), parallelIn({2, 0x99, 4, 0x99}), text("Ab"), text("Cde"),
                     parallelIn({0x5F, 9, 0xFF, 9}),   // flags
                     parallelIn({0x70, 9, 0x05, 9}),   // 1392
                     parallelIn({0x10, 9, 0x04, 9}),   // 1040
                     parallelIn({0x8A, 9, 0x02, 9}),   // 650
                     parallelIn({0xE4, 9, 0x02, 9}),   // 740
                     parallelIn({4, 9, 0, 9}),         // binning
                     parallelIn({8, 9, 0, 9}),         //
                     parallelIn({0x40, 9, 0x9C, 9})}); // 40000
}

Rows properties() {
    return together({command(kType, 44),
                     {pause(10000)},
                     parallelIn({'I', 0}),
                     command(kType, 54, {}, {1, 0}),
                     temperatureCommand(kType, {1, 0}, {2, 0, 0x10, 0, 2, 0}),
                     command(kType, 52, {}, {0x10, 0, 0x05, 0, 0x32, 0})});
}

// No run-time timeouts at the end.
Rows healthyOpen() {
    return within(30000,
                  together({usbOpen(kType), controllerStart(kType),
                            identify(0xDF28, {0x84, 0xD9, 0x01, 0x01, 0}), contact(), description(),
                            properties(), eeprom(5, {0x01, 0x02}), eeprom(8, {0x03, 0x04})}));
}

Lines describedLines() {
    return joinedLines({commandLines(kType, 10), say("version: 4.2"), say("model: Ab"),
                        say("manufacturer: Cde"),
                        say("flags: 0xff5f  FIFO INTERLACED EXT_TRIGGER PREVIEW SUBSAMPLE OVERLAP"),
                        say("pixel count: 1391 x 1039"), say("pixel size: 6.5 x 7.4"),
                        say("max bin: 4 x 8"), say("well capacity: 40000")});
}

Lines healthyTrace() {
    return operation(
        "open()", "open 1",
        {usbLines(kType),
         controllerLines(kType),
         identifyLines({0x28, 0xDF}, {0x84, 0xD9, 0x01, 0x01, 0},
                       "colour = 2, offsetX = 0, offsetY = 1"),
         say("pid = df28"),
         done("i2cSetTimeout(100)"),
         done("setParTimeout(1000)"),
         call("parInit(1)", "parInit 1", {done("parInit(...)")}),
         done("parInit(...)"),
         call("ping()", "ping 1",
              {say("ping -> 100"), commandLines(kType, 17, {100}), say("ping <- 100")}),
         describedLines(),
         call("appInit()", "appInit 1",
              {commandLines(kType, 44), quietSection(), say("APPINIT completed")}),
         commandLines(kType, 54, {}, {1, 0}),
         say("temperature sensor count: 1"),
         call("getTemperatureSensorStatus(1, ...)", "getTemperatureSensorStatus 1",
              {say("lock()"), commandLines(kType, 55, {1, 0}, {2, 0x10, 2, 0, 2, 0}),
               say("unlock()")}),
         say("temperature sensor type: 2"),
         commandLines(kType, 52, {}, {0x10, 5, 0x32, 0, 0, 0}),
         say("cooler: COOLER_SETPOINT"),
         say("min cooler power: 50"),
         say("max cooler power: 5"),
         eepromLines(5, {1, 2}),
         eepromLines(8, {3, 4}),
         say("serial # 0067305985")});
}

class BasinOpen : public OpeningTest {
protected:
    BasinOpen() : OpeningTest(kType) {}
};

TEST_F(BasinOpen, Conversation) {
    expectConversation(healthyOpen());
}

TEST_F(BasinOpen, Trace) {
    expectTrace(healthyOpen(), healthyTrace());
}

TEST_F(BasinOpen, FillsTheFields) {
    usb().expect(healthyOpen());
    ASSERT_TRUE(camera->open());
    EXPECT_EQ(camera->getVersionMajor(), 4u);
    EXPECT_EQ(camera->getVersionMinor(), 2u);
    EXPECT_EQ(camera->getSerialNumber(), 0x04030201u);
    EXPECT_EQ(peer.pixelCountX(), 1391u);
    EXPECT_EQ(peer.pixelCountY(), 1039u);
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 6.5);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 7.4);
    EXPECT_EQ(peer.maxBinX(), 4u);
    EXPECT_EQ(peer.maxBinY(), 8u);
    EXPECT_EQ(peer.tempSensorCount(), 1u);
    EXPECT_EQ(peer.tempSensorType(), 2u);
    EXPECT_EQ(peer.coolerType(), COOLER_SETPOINT);
    EXPECT_EQ(peer.minCoolerPower(), 50);
    EXPECT_EQ(peer.maxCoolerPower(), 5);
    EXPECT_EQ(peer.colourType(), COLOUR_BAYER);
}

// Whatever the flags and the open before said.
TEST_F(BasinOpen, HasNoneOfTheOptions) {
    for (const unsigned flags : {0x0000u, 0xFFFFu}) {
        peer.hasShutter() = peer.hasGuidePort() = peer.has8BitMode() = true;
        peer.hasFilterWheel() = peer.hasGPIO() = true;
        EXPECT_TRUE(play(healthyCamera(kType, {.flags = flags})));
        EXPECT_FALSE(peer.hasShutter());
        EXPECT_FALSE(peer.hasGuidePort());
        EXPECT_FALSE(peer.has8BitMode());
        EXPECT_FALSE(peer.hasFilterWheel());
        EXPECT_FALSE(peer.hasGPIO());
        camera->close();
    }
    EXPECT_EQ(script.countOf(135), 0u);
    EXPECT_EQ(script.countOf(130), 0u);
}

TEST_F(BasinOpen, KeepsItsSizeWhateverTheProductId) {
    EXPECT_TRUE(play(healthyCamera(kType, {.countX = 1392, .countY = 1040, .productId = 0xDF31})));
    EXPECT_EQ(peer.pixelCountX(), 1391u);
    EXPECT_EQ(peer.pixelCountY(), 1039u);
}

TEST_F(BasinOpen, WithoutSensorsNoneIsAskedAbout) {
    EXPECT_TRUE(play(healthyCamera(kType, {.sensorCount = 0})));
    EXPECT_EQ(script.countOf(55), 0u);
}

TEST_F(BasinOpen, PingsUpToTenTimes) {
    CameraScript late = healthyCamera(kType);
    late.replies(17, {{}, {0, 0}, {}, {}, {}, {7, 0}, {}, {}, {}, {109, 0}});
    EXPECT_TRUE(play(late));
    EXPECT_EQ(script.countOf(17), 10u);
}

TEST_F(BasinOpen, RuntimeTimeoutsStayThoseOfTheBringUp) {
    EXPECT_TRUE(play(healthyCamera(kType)));
    const Rows transfers = usb().transfers();
    for (const Row& row : {i2cTimeout(200), parallelTimeout(2000)})
        for (const Row& actual : transfers)
            EXPECT_FALSE(difference(row, actual).empty()) << describe(actual);
}

} // namespace
} // namespace tavo::test
