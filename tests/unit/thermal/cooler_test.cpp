// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

#include <limits>

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kServed[]{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};
constexpr CAMERA_TYPE kUnserved[]{HERON_CAMERA, GLINT_CAMERA, kUnknownFamily};

class Cooler : public UnitTest {
protected:
    void use(CAMERA_TYPE type, COOLER_TYPE cooler = COOLER_SETPOINT) {
        usb().reset();
        camera = openedCamera(type);
        peer().coolerType() = cooler;
        peer().tempSensorType() = 2;
        peer().minCoolerPower() = 0;
        peer().maxCoolerPower() = 255;
    }
    CameraPeer peer() { return CameraPeer(*camera); }

    void expectUnsupported(bool (*run)(TavoCameraImpl&), const Lines& lines) {
        for (const CAMERA_TYPE type : kFamilies) {
            for (const COOLER_TYPE cooler : {COOLER_NONE, COOLER_ALWAYSON}) {
                use(type, cooler);
                peer().lock();
                CapturedTrace trace;
                EXPECT_FALSE(run(*camera));
                EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
                EXPECT_TRUE(usb().calls().empty());
                EXPECT_FALSE(peer().lockIsFree());
                expectLines(lines, trace.lines());
            }
        }
    }

    std::unique_ptr<TavoCameraImpl> camera;
};

class SetCooling : public Cooler {
protected:
    void expectSent(CAMERA_TYPE type, COOLER_TYPE cooler, float value, const Bytes& argument,
                    int minPower = 0) {
        use(type, cooler);
        peer().minCoolerPower() = minPower;
        const Bytes accepted = type == LUMEN_CAMERA ? Bytes{0, 1} : Bytes{1, 0};
        usb().expect(within(30000, command(type, 56, argument, accepted)));
        EXPECT_TRUE(camera->setCooling(value)) << familyName(type) << " " << value;
        EXPECT_STREQ(camera->getLastError(), "No error");
        EXPECT_TRUE(peer().lockIsFree());
        usb().verify();
    }
};

TEST_F(SetCooling, SetPointIsARawTemperature) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA}) {
        expectSent(type, COOLER_SETPOINT, -10.0f, {0x6C, 0x02}); // 620
        expectSent(type, static_cast<COOLER_TYPE>(5), -10.0f, {0x6C, 0x02});
    }
}

TEST_F(SetCooling, PowerLevelHasASetHighByte) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA}) {
        expectSent(type, COOLER_SELECTPOWER, 75.9f, {0x4B, 0xFF});
        expectSent(type, COOLER_SELECTPOWER, 0.0f, {0x00, 0xFF});
        expectSent(type, COOLER_SELECTPOWER, 256.0f, {0x00, 0xFF}); // not clamped
        expectSent(type, COOLER_SELECTPOWER, -1.5f, {0xFF, 0xFF});
        expectSent(type, COOLER_SELECTPOWER, std::numeric_limits<float>::quiet_NaN(), {0x00, 0xFF});
    }
}

TEST_F(SetCooling, SwitchIgnoresTheArgument) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA}) {
        for (const float value : {-40.0f, 0.0f, 100.0f})
            expectSent(type, COOLER_ONOFF, value, {0x01, 0xFF});
        expectSent(type, COOLER_ONOFF, 0.0f, {0x33, 0xFF}, 50);
        expectSent(type, COOLER_ONOFF, 0.0f, {0x00, 0xFF}, 255); // the low byte carries over
    }
}

TEST_F(SetCooling, LumenAlwaysSendsATemperature) {
    for (const COOLER_TYPE cooler : {COOLER_SETPOINT, COOLER_SELECTPOWER, COOLER_ONOFF})
        expectSent(LUMEN_CAMERA, cooler, -10.0f, {0x02, 0x6C});
}

TEST_F(SetCooling, Trace) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        const bool lumen = type == LUMEN_CAMERA;
        const Bytes argument = lumen ? Bytes{0x02, 0x6C} : Bytes{0x6C, 0x02};
        const Bytes reply = lumen ? Bytes{0, 1} : Bytes{1, 0};
        usb().expect(command(type, 56, argument, reply));
        CapturedTrace trace;
        EXPECT_TRUE(camera->setCooling(-10.0f));
        expectLines(joinedLines({{"-> tavoSetCooling(-10.0)"},
                                 say("lock()"),
                                 commandLines(type, 56, argument, reply),
                                 say("unlock()"),
                                 {"<- TavoCameraImpl::setCooling 1"}}),
                    trace.lines());
    }
}

TEST_F(SetCooling, CameraMustAccept) {
    struct Refusal {
        CAMERA_TYPE type;
        Bytes reply;
    };
    for (const Refusal& refusal : {Refusal{BASIN_CAMERA, {0, 1}}, Refusal{RIDGE_CAMERA, {0, 1}},
                                   Refusal{RIDGE_CAMERA, {2, 0}}, Refusal{LUMEN_CAMERA, {1, 0}},
                                   Refusal{LUMEN_CAMERA, {0, 2}}}) {
        use(refusal.type);
        const Bytes argument = refusal.type == LUMEN_CAMERA ? Bytes{0x02, 0x6C} : Bytes{0x6C, 0x02};
        usb().expect(command(refusal.type, 56, argument, refusal.reply));
        CapturedTrace trace;
        EXPECT_FALSE(camera->setCooling(-10.0f));
        EXPECT_STREQ(camera->getLastError(), "Failed to set temperature");
        EXPECT_TRUE(trace.contains("    invalid response"));
        EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::setCooling 0");
        EXPECT_TRUE(peer().lockIsFree());
        usb().verify();
    }
}

TEST_F(SetCooling, FailedCommandIsNotAnInvalidResponse) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        usb().failTransfer(1, kPipe, Repeat::fromThenOn);
        CapturedTrace trace;
        EXPECT_FALSE(camera->setCooling(-10.0f));
        EXPECT_STREQ(camera->getLastError(), "Failed to set temperature");
        EXPECT_FALSE(trace.contains("    invalid response"));
    }
}

TEST_F(SetCooling, CoolersThatCannotBeControlled) {
    expectUnsupported([](TavoCameraImpl& each) { return each.setCooling(5.0f); },
                      {"-> tavoSetCooling( 5.0)", "<- TavoCameraImpl::tavoSetCooling 00"});
}

TEST_F(SetCooling, UnservedFamilies) {
    for (const CAMERA_TYPE type : kUnserved) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(camera->setCooling(-10.0f));
        EXPECT_STREQ(camera->getLastError(), "Failed to set temperature");
        EXPECT_TRUE(usb().calls().empty());
        expectLines({"-> tavoSetCooling(-10.0)", "    lock()", "    unlock()",
                     "<- TavoCameraImpl::setCooling 0"},
                    trace.lines());
    }
}

class WarmUp : public Cooler {};

TEST_F(WarmUp, IsABareCommand) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        peer().tempSensorType() = 0; // nothing is converted
        usb().expect(within(30000, command(type, 57)));
        CapturedTrace trace;
        EXPECT_TRUE(camera->initiateWarmUp());
        EXPECT_STREQ(camera->getLastError(), "No error");
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(operation("initiateWarmUp()", "initiateWarmUp 1",
                              {say("lock()"), commandLines(type, 57), say("unlock()")}),
                    trace.lines());
        usb().verify();
    }
}

TEST_F(WarmUp, CoolersThatCannotBeControlled) {
    expectUnsupported([](TavoCameraImpl& each) { return each.initiateWarmUp(); },
                      operation("initiateWarmUp()", "initiateWarmUp 00"));
}

TEST_F(WarmUp, UnservedFamilies) {
    for (const CAMERA_TYPE type : kUnserved) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(camera->initiateWarmUp());
        EXPECT_STREQ(camera->getLastError(), "Failed to initiate warmup");
        EXPECT_TRUE(usb().calls().empty());
        expectLines(
            operation("initiateWarmUp()", "initiateWarmUp 0", {say("lock()"), say("unlock()")}),
            trace.lines());
    }
}

} // namespace
} // namespace tavo::test
