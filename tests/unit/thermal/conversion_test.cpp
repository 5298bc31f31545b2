// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Degrees and raw readings, seen through the operations that convert them.
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

constexpr std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

// The line number is the library's own; everything else is fixed.
const char* const kNoSensorType =
    "^Assertion \"tempSensorType!=0\" failed \\(src/tavoccdusb\\.cpp, [0-9]+\\)\n$";

class Conversion : public UnitTest {
protected:
    Conversion() {
        peer.coolerType() = COOLER_SETPOINT;
        peer.tempSensorCount() = 1;
    }

    // What a sensor of this kind that reads this reports.
    float celsius(unsigned kind, unsigned raw) {
        usb().reset();
        usb().expect(temperatureCommand(RIDGE_CAMERA, {1, 0},
                                        {low(kind), 0, low(raw), low(raw >> 8), 0, 0}));
        float temperature = -1000.0f;
        EXPECT_TRUE(camera->getTemperatureSensorStatus(1, &temperature));
        return temperature;
    }

    // The set point that is sent for a temperature.
    unsigned raw(unsigned kind, float temperature) {
        usb().reset();
        usb().queueIn(0x88, {1});
        peer.tempSensorType() = kind;
        EXPECT_TRUE(camera->setCooling(temperature));
        const Bytes packet = usb().transfers().front().data;
        return packet.at(8) + 256u * packet.at(9);
    }

    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

TEST_F(Conversion, SpanOfTheSensors) {
    for (const unsigned kind : {1u, 2u}) {
        EXPECT_EQ(celsius(kind, 0), -60.0f);
        EXPECT_EQ(celsius(kind, kind == 1 ? 1023 : 4095), 270.0f);
        EXPECT_EQ(raw(kind, -60.0f), 0u);
        EXPECT_EQ(raw(kind, 270.0f), kind == 1 ? 1023u : 4095u);
    }
}

TEST_F(Conversion, SinglePrecisionInThisOrder) {
    for (unsigned reading = 0; reading < 4096; reading += 13) {
        const auto value = static_cast<float>(reading);
        EXPECT_EQ(celsius(1, reading), value * 330.0f / 1023.0f - 60.0f) << reading;
        EXPECT_EQ(celsius(2, reading), value * 330.0f / 4095.0f - 60.0f) << reading;
    }
    EXPECT_NEAR(celsius(1, 512), 105.16f, 0.005f);
    EXPECT_NEAR(celsius(2, 512), -18.74f, 0.005f);
}

TEST_F(Conversion, RoundsHalfUp) {
    EXPECT_EQ(raw(2, -10.0f), 620u); // 620.45
    EXPECT_EQ(raw(1, -10.0f), 155u); // 155.0
    EXPECT_EQ(raw(2, 0.0f), 745u);   // 744.55
    EXPECT_EQ(raw(1, 0.0f), 186u);
    EXPECT_EQ(raw(2, -59.96f), 0u); // 0.4964
    EXPECT_EQ(raw(2, -59.95f), 1u); // 0.6205
}

// Below the span the truncation goes towards zero and the low 16 bits travel.
TEST_F(Conversion, OutsideTheSpan) {
    EXPECT_EQ(raw(2, -60.1f), 0u);      // -0.74
    EXPECT_EQ(raw(2, -70.0f), 0xFF85u); // -123.59
    EXPECT_EQ(raw(2, 1000.0f), 13154u); // 13154.4
}

TEST_F(Conversion, BeyondIntegersGivesTheSmallestOne) {
    for (const float value :
         {1e30f, -1e30f, std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(raw(2, value), 0u) << value; // the low half of 0x80000000
}

TEST_F(Conversion, UnknownKindIsZero) {
    for (const unsigned kind : {3u, 7u, 255u}) {
        EXPECT_EQ(celsius(kind, 512), 0.0f);
        EXPECT_EQ(raw(kind, 20.0f), 0u);
    }
}

using ConversionDeathTest = Conversion;

TEST_F(ConversionDeathTest, SetPointWithoutASensorType) {
    peer.tempSensorType() = 0;
    EXPECT_EXIT(camera->setCooling(-10.0f), ::testing::ExitedWithCode(1), kNoSensorType);
}

TEST_F(ConversionDeathTest, SetPointOfALumenWithoutASensorType) {
    auto lumen = openedCamera(LUMEN_CAMERA);
    CameraPeer(*lumen).coolerType() = COOLER_ONOFF; // converts all the same
    EXPECT_EXIT(lumen->setCooling(-10.0f), ::testing::ExitedWithCode(1), kNoSensorType);
}

TEST_F(ConversionDeathTest, SensorThatNamesNoType) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA}) {
        auto other = openedCamera(type);
        CameraPeer(*other).tempSensorCount() = 1;
        CameraPeer(*other).tempSensorType() = 2; // overwritten before the conversion
        float temperature = 0;
        EXPECT_EXIT(other->getTemperatureSensorStatus(1, &temperature),
                    ::testing::ExitedWithCode(1), kNoSensorType);
    }
}

TEST_F(ConversionDeathTest, TargetTemperatureWithoutASensorType) {
    COOLING_STATE state{};
    float target = 0;
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        auto other = openedCamera(type);
        CameraPeer(*other).coolerType() = COOLER_SETPOINT;
        EXPECT_EXIT(other->getCoolingStatus(&state, &target, nullptr), ::testing::ExitedWithCode(1),
                    kNoSensorType);
    }
}

// Levels and switches convert nothing.
TEST_F(Conversion, PowerNeedsNoSensorType) {
    peer.tempSensorType() = 0;
    for (const COOLER_TYPE kind : {COOLER_SELECTPOWER, COOLER_ONOFF}) {
        usb().reset();
        usb().queueIn(0x88, {1});
        peer.coolerType() = kind;
        EXPECT_TRUE(camera->setCooling(50.0f));
    }
    usb().reset();
    COOLING_STATE state{};
    float power = 0;
    EXPECT_TRUE(camera->getCoolingStatus(&state, nullptr, &power));
}

} // namespace
} // namespace tavo::test
