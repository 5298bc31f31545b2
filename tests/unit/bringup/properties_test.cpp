// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The steps of the bring-up that several families share: coolers, sensors, serial numbers, the
// settling of the filter wheel - and what the fields hold when one of them fails.
#include "bringup/fault_sweep.h"
#include "bringup/wire_rows.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kByCommand[]{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};
constexpr CAMERA_TYPE kWithWheel[]{RIDGE_CAMERA, LUMEN_CAMERA};

class Properties : public UnitTest {
protected:
    bool open(CAMERA_TYPE type, const CameraScript& played) {
        usb().reset();
        script = std::make_unique<LosingScript>(played);
        usb().respondWith(script.get());
        camera = closedCamera(type);
        return camera->open();
    }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<LosingScript> script;
    std::unique_ptr<TavoCameraImpl> camera;
};

TEST_F(Properties, CoolerKinds) {
    struct Kind {
        unsigned flags;
        COOLER_TYPE type;
        const char* name;
    };
    const Kind kinds[]{{0x00, COOLER_NONE, "COOLER_NONE"},
                       {0x01, COOLER_ALWAYSON, "COOLER_ALWAYSON"},
                       {0x02, COOLER_NONE, "COOLER_NONE"},
                       {0x04, COOLER_SELECTPOWER, "COOLER_SELECTPOWER"},
                       {0x08, COOLER_ONOFF, "COOLER_ONOFF"},
                       {0x09, COOLER_ONOFF, "COOLER_ONOFF"},
                       {0x0C, COOLER_SELECTPOWER, "COOLER_SELECTPOWER"}, // not in bit order
                       {0x10, COOLER_SETPOINT, "COOLER_SETPOINT"},
                       {0x11, COOLER_SETPOINT, "COOLER_SETPOINT"},
                       {0x1D, COOLER_SETPOINT, "COOLER_SETPOINT"},
                       {0xE0, COOLER_NONE, "COOLER_NONE"}};
    for (const CAMERA_TYPE type : kByCommand) {
        for (const Kind& kind : kinds) {
            CapturedTrace trace;
            EXPECT_TRUE(open(type, healthyCamera(type, {.coolerFlags = kind.flags})));
            EXPECT_EQ(peer().coolerType(), kind.type) << familyName(type) << " " << kind.flags;
            EXPECT_TRUE(trace.contains(std::string("    cooler: ") + kind.name));
        }
    }
}

// The same six bytes as they travel. A BASIN reply has a byte of no meaning after each byte.
TEST_F(Properties, PowerLimitsStandInOtherPlaces) {
    struct Limits {
        CAMERA_TYPE type;
        Bytes reply;
        int least, most;
    };
    for (const Limits& each :
         {Limits{BASIN_CAMERA, {0x10, 0x77, 0x05, 0x77, 0x32, 0x77}, 50, 5},
          Limits{RIDGE_CAMERA, {0x10, 0x05, 0x32, 0x00, 0x64, 0x00}, 100, 50},
          Limits{LUMEN_CAMERA, {0x00, 0x10, 0x01, 0x02, 0xFF, 0xFE}, 0xFFFE, 0x0102}}) {
        CameraScript played = healthyCamera(each.type);
        played.reply(52, each.reply);
        EXPECT_TRUE(open(each.type, played));
        EXPECT_EQ(peer().coolerType(), COOLER_SETPOINT);
        EXPECT_EQ(peer().minCoolerPower(), each.least) << familyName(each.type);
        EXPECT_EQ(peer().maxCoolerPower(), each.most) << familyName(each.type);
    }
}

// A failed command leaves the fields of the last open, and what it did not reach is not asked.
TEST_F(Properties, FailedCommandKeepsTheField) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA}) {
        EXPECT_TRUE(open(type, healthyCamera(type, {.sensorCount = 3, .coolerFlags = 0x10})));
        camera->close();
        LosingScript silent(healthyCamera(type, {.sensorCount = 5, .coolerFlags = 0x01}));
        silent.silence(52);
        usb().respondWith(&silent);
        EXPECT_FALSE(camera->open());
        EXPECT_EQ(peer().tempSensorCount(), 5u);
        EXPECT_EQ(peer().coolerType(), COOLER_SETPOINT);
        camera->close();
        silent.silence(54);
        silent.commands.clear();
        EXPECT_FALSE(camera->open());
        EXPECT_EQ(peer().tempSensorCount(), 5u);
        EXPECT_EQ(silent.countOf(52), 0u);
        EXPECT_EQ(silent.countOf(55), 0u);
    }
}

TEST_F(Properties, FailedFieldReadsLeaveZeroes) {
    CameraScript cut = healthyCamera(RIDGE_CAMERA);
    cut.reply(1, {2, 0, 4, 0, 'M', 0, 0, 0, 'N', 0, 0, 0, 0x00, 0x01}); // ends before the counts
    LosingScript played(cut);
    usb().respondWith(&played);
    camera = closedCamera(RIDGE_CAMERA);
    peer().pixelCountX() = peer().pixelCountY() = 9;
    EXPECT_FALSE(camera->open());
    EXPECT_EQ(peer().pixelCountX(), 0u);
    EXPECT_EQ(peer().pixelCountY(), 0u);
    EXPECT_EQ(camera->getVersionMajor(), 4u);
}

// Numbers of the transfers of a LUMEN_CAMERA with GPIO and without a wheel, from the end: two
// timeouts, the serial number, the line count.
TEST_F(Properties, LumenStoresTwoFieldsOfFailedCommands) {
    const CameraScript played = healthyCamera(LUMEN_CAMERA, {.flags = 0x0200, .gpioLines = 6});
    ASSERT_TRUE(open(LUMEN_CAMERA, played));
    const std::size_t all = usb().transferCount();
    EXPECT_EQ(peer().gpioLineCount(), 6u);
    const auto openFailingAt = [&](std::size_t number) {
        usb().reset();
        script = std::make_unique<LosingScript>(played);
        usb().respondWith(script.get());
        camera = closedCamera(LUMEN_CAMERA);
        peer().gpioLineCount() = 77;
        usb().failTransfer(number, kTimeout);
        EXPECT_FALSE(camera->open());
    };
    openFailingAt(all - 4);
    EXPECT_EQ(peer().gpioLineCount(), 0u);
    openFailingAt(all - 2);
    EXPECT_EQ(peer().gpioLineCount(), 6u);
    EXPECT_EQ(camera->getSerialNumber(), 0u);
    openFailingAt(all);
    EXPECT_EQ(camera->getSerialNumber(), 0x0201u);
}

TEST_F(Properties, FailedClearTimeFallsBackToTheUsualOne) {
    const CameraScript played = healthyCamera(LUMEN_CAMERA, {.clearTime = 5});
    ASSERT_TRUE(open(LUMEN_CAMERA, played));
    EXPECT_EQ(peer().vregClearTime(), 5000);
    camera->close();
    usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
    CapturedTrace trace;
    EXPECT_FALSE(camera->open());
    EXPECT_EQ(peer().vregClearTime(), 300000);
    EXPECT_TRUE(trace.contains("    VReg clear time: 300000us"));
}

// The second word of the serial number is read only after the first.
TEST_F(Properties, FailedSerialNumber) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA}) {
        ASSERT_TRUE(open(type, healthyCamera(type)));
        const Rows transfers = usb().transfers();
        std::size_t first = 0;
        for (std::size_t i = 0; i < transfers.size(); ++i) {
            if (difference(eeprom(5, {0, 0})[0], transfers[i]).empty())
                first = i + 1;
        }
        ASSERT_NE(first, 0u);
        usb().reset();
        LosingScript played(healthyCamera(type));
        usb().respondWith(&played);
        usb().failTransfer(first + 3, kPipe);
        camera = closedCamera(type);
        EXPECT_FALSE(camera->open());
        EXPECT_EQ(camera->getSerialNumber(), 0u);
        EXPECT_EQ(usb().transferCount(), first + 3);

        usb().reset();
        LosingScript half(healthyCamera(type));
        usb().respondWith(&half);
        usb().failTransfer(first + 7, kPipe);
        camera = closedCamera(type);
        EXPECT_FALSE(camera->open());
        EXPECT_EQ(camera->getSerialNumber(), 0x0201u);
    }
}

Bytes wheelReply(CAMERA_TYPE type, std::uint8_t moving) {
    return type == RIDGE_CAMERA ? Bytes{5, 0, moving, 0, 2, 0, 4, 0}
                                : Bytes{0, 5, 0, moving, 0, 2, 0, 4};
}

std::size_t wheelPauses(long microseconds) {
    std::size_t count = 0;
    for (const long each : usb().pauses())
        count += each == microseconds ? 1 : 0;
    return count;
}

TEST_F(Properties, WheelIsPolledUntilItStands) {
    for (const CAMERA_TYPE type : kWithWheel) {
        CameraScript played = healthyCamera(type, {.flags = 0x1000});
        played.replies(135, {wheelReply(type, 1), wheelReply(type, 1), wheelReply(type, 0)});
        EXPECT_TRUE(open(type, played));
        EXPECT_EQ(script->countOf(135), 3u);
        EXPECT_EQ(wheelPauses(5000000), 1u);
        EXPECT_EQ(wheelPauses(100000), type == RIDGE_CAMERA ? 3u : 2u); // one after command 55
    }
}

TEST_F(Properties, WheelThatNeverStandsIsLeftToItself) {
    for (const CAMERA_TYPE type : kWithWheel) {
        CameraScript played = healthyCamera(type, {.flags = 0x1000, .sensorCount = 0});
        played.reply(135, wheelReply(type, 1));
        EXPECT_TRUE(open(type, played));
        EXPECT_EQ(script->countOf(135), 20u);
        EXPECT_EQ(wheelPauses(100000), 20u);
    }
}

TEST_F(Properties, WheelThatDoesNotAnswerFailsTheOpen) {
    CameraScript played = healthyCamera(RIDGE_CAMERA, {.flags = 0x1000});
    played.silence(135);
    EXPECT_FALSE(open(RIDGE_CAMERA, played));
    EXPECT_EQ(script->countOf(135), 1u);
    EXPECT_STREQ(camera->getLastError(), "Failed to initialize device");
}

// The pause is made even where an earlier step has failed.
TEST_F(Properties, WheelPauseDoesNotDependOnSuccess) {
    for (const CAMERA_TYPE type : kWithWheel) {
        CameraScript played = healthyCamera(type, {.flags = 0x1000});
        played.reply(44, {'x', 'x'});
        EXPECT_FALSE(open(type, played));
        EXPECT_EQ(wheelPauses(5000000), 1u) << familyName(type);
        EXPECT_EQ(script->countOf(135), 0u);
    }
}

TEST_F(Properties, WithoutAWheelNothingSettles) {
    for (const CAMERA_TYPE type : kByCommand) {
        EXPECT_TRUE(open(type, healthyCamera(type, {.flags = 0x0100})));
        EXPECT_EQ(wheelPauses(5000000), 0u);
        EXPECT_EQ(script->countOf(135), 0u);
    }
}

TEST_F(Properties, ApplicationThatNeverStarts) {
    for (const CAMERA_TYPE type : kByCommand) {
        CameraScript played = healthyCamera(type);
        played.reply(44, Bytes(200, 'x'));
        EXPECT_FALSE(open(type, played));
        EXPECT_EQ(wheelPauses(10000), 64u) << familyName(type);
        EXPECT_EQ(script->countOf(54), 0u);
    }
}

// An open that learns of a sensor without a kind goes on: nothing is converted.
TEST_F(Properties, SensorOfNoKind) {
    for (const CAMERA_TYPE type : kByCommand) {
        CameraScript played = healthyCamera(type);
        played.reply(55, Bytes(6));
        CapturedTrace trace;
        EXPECT_TRUE(open(type, played));
        EXPECT_EQ(peer().tempSensorType(), 0u);
        EXPECT_TRUE(trace.contains("    temperature sensor type: 0"));
    }
}

} // namespace
} // namespace tavo::test
