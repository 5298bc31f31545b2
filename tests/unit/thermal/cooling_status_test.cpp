// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

#include <cmath>
#include <limits>

namespace tavo::test {
namespace {

const char* const kFailed = "Failed to set cooling status"; // of a read, on purpose

struct StateName {
    std::uint8_t flags;
    COOLING_STATE state;
    const char* name;
};
const StateName kStates[]{
    {0x00, COOLING_INACTIVE, "COOLING_INACTIVE"},
    {0x1F, COOLING_INACTIVE, "COOLING_INACTIVE"},
    {0x40, COOLING_ON, "COOLING_ON"},
    {0x20, WARMING_UP, "WARMING_UP"},
    {0x60, WARMING_UP, "WARMING_UP"},
    {0x80, COOLING_SETPOINT, "COOLING_SETPOINT"},
    {0xA0, COOLING_SETPOINT, "COOLING_SETPOINT"},
    {0xFF, COOLING_SETPOINT, "COOLING_SETPOINT"},
};

// A status reply in the layout of each family, as it travels and as it is received.
struct Status {
    CAMERA_TYPE type;
    Bytes travels;
    Bytes received;
};
Status statusReply(CAMERA_TYPE type, std::uint8_t power, std::uint8_t flags, std::uint8_t low,
                   std::uint8_t high) {
    if (type == BASIN_CAMERA)
        return {type,
                {power, 9, flags, 9, low, 9, high, 9},
                {power, flags, low, high, low, 9, high, 9}};
    const Bytes reply = type == RIDGE_CAMERA ? Bytes{power, 9, flags, 9, low, high}
                                             : Bytes{0, power, 9, flags, high, low, 9, 9};
    return {type, reply, reply};
}

class CoolingStatus : public UnitTest {
protected:
    void use(CAMERA_TYPE type) {
        usb().reset();
        camera = openedCamera(type);
        peer().coolerType() = COOLER_SETPOINT;
        peer().tempSensorType() = 2;
        peer().minCoolerPower() = 0;
        peer().maxCoolerPower() = 255;
        state = static_cast<COOLING_STATE>(77);
        target = power = -1000.0f;
    }
    void expectStatus(const Status& status) {
        usb().expect(within(30000, command(status.type, 53, {}, status.travels)));
    }
    bool read() { return camera->getCoolingStatus(&state, &target, &power); }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<TavoCameraImpl> camera;
    COOLING_STATE state{};
    float target = 0, power = 0;
};

TEST_F(CoolingStatus, EachFamilyHasALayout) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        use(type);
        const Status status = statusReply(type, 0x32, 0xA0, 0x10, 0x02);
        expectStatus(status);
        CapturedTrace trace;
        EXPECT_TRUE(read());
        EXPECT_EQ(state, COOLING_SETPOINT);
        EXPECT_FLOAT_EQ(target, 528.0f * 330.0f / 4095.0f - 60.0f);
        EXPECT_NEAR(power, 19.6f, 0.01f);
        expectLines(
            operation("getCoolingStatus(...)", "getCoolingStatus 1",
                      {say("lock()"), commandLines(type, 53, {}, status.received),
                       say("cooler state: COOLING_SETPOINT"), say("target temperature: -17.5"),
                       say("power: 19%"), say("unlock()")}),
            trace.lines());
        EXPECT_EQ(peer().tempSensorType(), 2u);
        EXPECT_TRUE(peer().lockIsFree());
        usb().verify();
    }
}

TEST_F(CoolingStatus, StatesByPrecedence) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        for (const StateName& each : kStates) {
            use(type);
            expectStatus(statusReply(type, 0, each.flags, 0, 0));
            CapturedTrace trace;
            EXPECT_TRUE(camera->getCoolingStatus(&state, nullptr, nullptr));
            EXPECT_EQ(state, each.state) << unsigned{each.flags};
            EXPECT_TRUE(trace.contains(std::string("    cooler state: ") + each.name));
        }
    }
}

TEST_F(CoolingStatus, LumenWordsAreWide) {
    use(LUMEN_CAMERA);
    peer().maxCoolerPower() = 1000;
    // The high byte of the flags does not count.
    usb().expect(command(LUMEN_CAMERA, 53, {}, {0x01, 0xF4, 0xFF, 0x40, 0x0F, 0xFF, 9, 9}));
    EXPECT_TRUE(read());
    EXPECT_EQ(state, COOLING_ON);
    EXPECT_FLOAT_EQ(target, 270.0f);
    EXPECT_FLOAT_EQ(power, 50.0f);
}

// The range is an unsigned difference; nothing is clamped.
TEST_F(CoolingStatus, PowerIsAPartOfTheRange) {
    struct Range {
        int least, most;
        std::uint8_t raw;
        float percent;
    };
    for (const Range& range :
         {Range{0, 255, 255, 100.0f}, Range{50, 150, 50, 0.0f}, Range{50, 150, 100, 50.0f},
          Range{50, 150, 200, 150.0f}, Range{50, 150, 0, -50.0f}, Range{100, 50, 100, 0.0f},
          Range{100, 50, 50, -5000.0f / 4294967246.0f}}) {
        use(RIDGE_CAMERA);
        peer().minCoolerPower() = range.least;
        peer().maxCoolerPower() = range.most;
        expectStatus(statusReply(RIDGE_CAMERA, range.raw, 0x40, 0, 0));
        EXPECT_TRUE(read());
        EXPECT_FLOAT_EQ(power, range.percent) << range.least << " to " << range.most;
    }
}

TEST_F(CoolingStatus, EmptyRangeDoesNotTrap) {
    use(RIDGE_CAMERA);
    peer().minCoolerPower() = peer().maxCoolerPower() = 50;
    expectStatus(statusReply(RIDGE_CAMERA, 60, 0x40, 0, 0));
    CapturedTrace trace;
    EXPECT_TRUE(read());
    EXPECT_TRUE(std::isinf(power));
    EXPECT_TRUE(
        trace.contains("    power: " + std::to_string(std::numeric_limits<int>::min()) + "%"));
}

TEST_F(CoolingStatus, WithoutAPlaceForTheStateNothingIsDecoded) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        use(type);
        peer().tempSensorType() = 0; // a conversion would end the process
        expectStatus(statusReply(type, 0x32, 0xA0, 0x10, 0x02));
        EXPECT_TRUE(camera->getCoolingStatus(nullptr, &target, &power));
        EXPECT_EQ(target, -1000.0f);
        EXPECT_EQ(power, -1000.0f);
        usb().verify();
    }
}

TEST_F(CoolingStatus, OutputsAreOptionalOneByOne) {
    use(RIDGE_CAMERA);
    peer().tempSensorType() = 0;
    expectStatus(statusReply(RIDGE_CAMERA, 51, 0x40, 0, 0));
    EXPECT_TRUE(camera->getCoolingStatus(&state, nullptr, &power));
    EXPECT_FLOAT_EQ(power, 20.0f);
    use(RIDGE_CAMERA);
    expectStatus(statusReply(RIDGE_CAMERA, 51, 0x40, 0, 0));
    EXPECT_TRUE(camera->getCoolingStatus(&state, &target, nullptr));
    EXPECT_FLOAT_EQ(target, -60.0f);
}

TEST_F(CoolingStatus, CoolersThatCannotBeControlled) {
    for (const CAMERA_TYPE type : kFamilies) {
        for (const COOLER_TYPE cooler :
             {COOLER_NONE, COOLER_ALWAYSON, static_cast<COOLER_TYPE>(-1)}) {
            use(type);
            peer().coolerType() = cooler;
            peer().lock();
            CapturedTrace trace;
            EXPECT_FALSE(read());
            EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
            EXPECT_TRUE(usb().calls().empty());
            EXPECT_FALSE(peer().lockIsFree());
            expectLines(operation("getCoolingStatus(...)", "getCoolingStatus 00"), trace.lines());
        }
    }
}

TEST_F(CoolingStatus, UnservedFamilies) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(read());
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_EQ(static_cast<int>(state), 77);
        expectLines(operation("getCoolingStatus(...)", "getCoolingStatus 0",
                              {say("lock()"), say("unlock()")}),
                    trace.lines());
    }
}

TEST_F(CoolingStatus, FailedCommandLeavesTheOutputs) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        use(type);
        usb().failTransfer(1, kPipe, Repeat::fromThenOn);
        EXPECT_FALSE(read());
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_EQ(static_cast<int>(state), 77);
        EXPECT_EQ(target, -1000.0f);
        EXPECT_EQ(power, -1000.0f);
        EXPECT_TRUE(peer().lockIsFree());
    }
}

} // namespace
} // namespace tavo::test
