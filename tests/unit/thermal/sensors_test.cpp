// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/fault_sweep.h"
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"

namespace tavo::test {
namespace {

const char* const kFailed = "Failed to read temperature sensor status";

Row glintTemperature(const Bytes& value) {
    return controlIn(0x7F, 0x082C, 0xF0F0, value);
}

class Sensors : public UnitTest {
protected:
    void use(CAMERA_TYPE type) {
        usb().reset();
        camera = openedCamera(type);
        CameraPeer(*camera).tempSensorCount() = 0x1234;
    }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<TavoCameraImpl> camera;
    float temperature = -1000.0f;
};

// The same reading, 512 of 1023, in the layout of each family.
struct Layout {
    CAMERA_TYPE type;
    Bytes argument; // sensor 0x0201
    Bytes travels;
    Bytes received; // a BASIN reply is compacted
    std::uint32_t sensorType;
    float celsius;
};

const Layout kLayouts[]{
    {BASIN_CAMERA, {0x01, 0x02}, {1, 9, 0x00, 9, 0x02, 9}, {1, 0, 2, 9, 2, 9}, 1, 105.161293f},
    {RIDGE_CAMERA, {0x01, 0x02}, {2, 9, 0x00, 2, 9, 9}, {2, 9, 0, 2, 9, 9}, 2, -18.739929f},
    {LUMEN_CAMERA, {0x02, 0x01}, {9, 2, 0x02, 0, 9, 9}, {9, 2, 2, 0, 9, 9}, 2, -18.739929f},
};

Rows conversation(const Layout& layout) {
    return layout.type == LUMEN_CAMERA
               ? command(LUMEN_CAMERA, 55, layout.argument, layout.travels)
               : temperatureCommand(layout.type, layout.argument, layout.travels);
}

TEST_F(Sensors, EachFamilyHasALayout) {
    for (const Layout& layout : kLayouts) {
        use(layout.type);
        usb().expect(within(30000, conversation(layout)));
        CapturedTrace trace;
        EXPECT_TRUE(camera->getTemperatureSensorStatus(0x0201, &temperature));
        EXPECT_NEAR(temperature, layout.celsius, 1e-4f);
        EXPECT_EQ(peer().tempSensorType(), layout.sensorType);
        char reported[64];
        std::snprintf(reported, sizeof reported, "current temperature: %4.1f",
                      static_cast<double>(layout.celsius));
        expectLines(
            operation("getTemperatureSensorStatus(513, ...)", "getTemperatureSensorStatus 1",
                      {say("lock()"),
                       commandLines(layout.type, 55, layout.argument, layout.received),
                       layout.type == LUMEN_CAMERA ? say("temperature senzor type: 2") : Lines{},
                       say(reported), say("unlock()")}),
            trace.lines());
        EXPECT_TRUE(peer().lockIsFree());
        usb().verify();
    }
}

TEST_F(Sensors, WithoutAPlaceForItOnlyTheTypeIsLearned) {
    for (const Layout& layout : kLayouts) {
        use(layout.type);
        usb().expect(conversation(layout));
        CapturedTrace trace;
        EXPECT_TRUE(camera->getTemperatureSensorStatus(0x0201, nullptr));
        EXPECT_EQ(peer().tempSensorType(), layout.sensorType);
        EXPECT_EQ(trace.text().find("current temperature"), std::string::npos);
        usb().verify();
    }
}

TEST_F(Sensors, UnknownTypeReadsAsZeroDegrees) {
    use(BASIN_CAMERA);
    usb().expect(temperatureCommand(BASIN_CAMERA, {1, 0}, {7, 0, 0x00, 0, 0x02, 0}));
    EXPECT_TRUE(camera->getTemperatureSensorStatus(1, &temperature));
    EXPECT_EQ(peer().tempSensorType(), 7u);
    EXPECT_EQ(temperature, 0.0f);
}

TEST_F(Sensors, LumenMayLeaveItsTypeOpen) {
    use(LUMEN_CAMERA);
    peer().tempSensorType() = 2;
    usb().expect(command(LUMEN_CAMERA, 55, {0, 1}, {9, 0, 2, 0, 9, 9}));
    CapturedTrace trace;
    EXPECT_TRUE(camera->getTemperatureSensorStatus(1, &temperature));
    EXPECT_EQ(peer().tempSensorType(), 0u);
    EXPECT_EQ(temperature, -1000.0f);
    EXPECT_TRUE(trace.contains("    temperature senzor type: 0"));
}

TEST_F(Sensors, NumbersUpToTheCountInclusive) {
    for (const CAMERA_TYPE type : kFamilies) {
        use(type);
        peer().tempSensorCount() = 2;
        peer().lock();
        CapturedTrace trace;
        for (const unsigned sensor : {3u, 0xFFFFFFFFu})
            EXPECT_FALSE(camera->getTemperatureSensorStatus(sensor, &temperature));
        EXPECT_STREQ(camera->getLastError(), "Invalid parameter");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_FALSE(peer().lockIsFree());
        expectLines({"-> TavoCameraImpl::getTemperatureSensorStatus(3, ...)",
                     "<- TavoCameraImpl::getTemperatureSensorStatus 00",
                     "-> TavoCameraImpl::getTemperatureSensorStatus(-1, ...)",
                     "<- TavoCameraImpl::getTemperatureSensorStatus 00"},
                    trace.lines());
    }
    use(RIDGE_CAMERA);
    peer().tempSensorCount() = 2;
    usb().expect(together({temperatureCommand(RIDGE_CAMERA, {2, 0}, {1, 0, 0, 1, 0, 0}),
                           temperatureCommand(RIDGE_CAMERA, {0, 0}, {1, 0, 0, 1, 0, 0})}));
    EXPECT_TRUE(camera->getTemperatureSensorStatus(2, &temperature));
    EXPECT_TRUE(camera->getTemperatureSensorStatus(0, &temperature));
}

TEST_F(Sensors, GlintRegisterHoldsTenthsOfAKelvin) {
    struct Reading {
        Bytes value;
        float celsius;
    };
    use(GLINT_CAMERA);
    peer().tempSensorCount() = 0;
    for (const Reading& reading :
         {Reading{{0x8A, 0x0B, 0x00, 0xF0}, 22.25f}, Reading{{0, 0, 0, 0}, -273.15f},
          Reading{{0xFF, 0xFF, 0xFF, 0xFF}, 136.35f}}) {
        usb().expect({glintTemperature(reading.value)});
        EXPECT_TRUE(camera->getTemperatureSensorStatus(0, &temperature));
        EXPECT_FLOAT_EQ(temperature, reading.celsius);
    }
    EXPECT_EQ(peer().tempSensorType(), 0u);
}

TEST_F(Sensors, GlintWithoutAPlaceForItSucceeds) {
    use(GLINT_CAMERA);
    usb().expect({glintTemperature({0x8A, 0x0B, 0x00, 0xF0})});
    CapturedTrace trace;
    EXPECT_TRUE(camera->getTemperatureSensorStatus(0, nullptr));
    expectLines(operation("getTemperatureSensorStatus(0, ...)", "getTemperatureSensorStatus 1",
                          {say("lock()"), say("current temperature: 22.2"), say("unlock()")}),
                trace.lines());
}

TEST_F(Sensors, GlintDoesNotNoticeAFailedRead) {
    use(GLINT_CAMERA);
    usb().expect({glintTemperature({1, 2, 3, 4}).failing(LIBUSB_ERROR_NO_DEVICE)});
    EXPECT_TRUE(camera->getTemperatureSensorStatus(0, &temperature));
    EXPECT_FLOAT_EQ(temperature, -273.15f);
}

TEST_F(Sensors, UnservedFamilies) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, kUnknownFamily}) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(camera->getTemperatureSensorStatus(0, &temperature));
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_EQ(temperature, -1000.0f);
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(operation("getTemperatureSensorStatus(0, ...)", "getTemperatureSensorStatus 0",
                              {say("lock()"), say("unlock()")}),
                    trace.lines());
    }
}

TEST_F(Sensors, FailedCommandLeavesTheTypeAndTheOutput) {
    for (const Layout& layout : kLayouts) {
        use(layout.type);
        peer().tempSensorType() = 2;
        usb().failTransfer(1, kTimeout, Repeat::fromThenOn);
        EXPECT_FALSE(camera->getTemperatureSensorStatus(1, &temperature));
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_EQ(peer().tempSensorType(), 2u);
        EXPECT_EQ(temperature, -1000.0f);
        EXPECT_TRUE(peer().lockIsFree());
    }
}

} // namespace
} // namespace tavo::test
