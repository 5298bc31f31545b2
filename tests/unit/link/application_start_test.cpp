// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The start of a camera's application: one command, then polls of its status.
#include "fake/unit_test.h"
#include "link/wire.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kServed[]{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};
constexpr std::size_t kMostPolls = 64;

class ApplicationStartTest : public UnitTest {
protected:
    static bool appInit(CAMERA_TYPE type) {
        const auto camera = openedCamera(type);
        return CameraPeer(*camera).appInit();
    }
};

using ApplicationStartDeathTest = ApplicationStartTest;

Rows startCommand(CAMERA_TYPE type) {
    if (type == BASIN_CAMERA)
        return basinCommand(44);
    if (type == RIDGE_CAMERA)
        return ridgeCommand(44);
    return lumenCommand(44, {}, {});
}

// A LUMEN_CAMERA is sent the status that it gave before.
Rows poll(CAMERA_TYPE type, std::uint8_t status, std::uint8_t before) {
    const Rows read =
        type == LUMEN_CAMERA ? lumenRead({before}, {status}) : parallelIn({status, 'I'});
    return together({{pause(10000)}, read});
}

Rows start(CAMERA_TYPE type, const Bytes& statuses) {
    Rows rows = startCommand(type);
    std::uint8_t before = 0;
    for (const std::uint8_t status : statuses) {
        rows = together({rows, poll(type, status, before)});
        before = status;
    }
    return rows;
}

TEST_F(ApplicationStartTest, EndsAtTheLetter) {
    for (const CAMERA_TYPE type : kServed) {
        usb().expect(start(type, {'I'}));
        EXPECT_TRUE(appInit(type));
        usb().expect(start(type, {0, 'i', 'W', 0xFF, 'I'}));
        EXPECT_TRUE(appInit(type));
    }
}

TEST_F(ApplicationStartTest, IsPolledSixtyFourTimes) {
    for (const CAMERA_TYPE type : kServed) {
        Bytes statuses(kMostPolls, 'W');
        usb().expect(start(type, statuses));
        EXPECT_FALSE(appInit(type));
        statuses.back() = 'I';
        usb().expect(start(type, statuses));
        EXPECT_TRUE(appInit(type));
    }
}

TEST_F(ApplicationStartTest, FailedCommandIsNotPolled) {
    for (const CAMERA_TYPE type : kServed) {
        usb().reset();
        usb().failTransfer(2, kPipe);
        EXPECT_FALSE(appInit(type));
        EXPECT_EQ(usb().transferCount(), 2U);
        EXPECT_TRUE(usb().pauses().empty());
    }
}

TEST_F(ApplicationStartTest, FailedPollIsTheLast) {
    for (const CAMERA_TYPE type : kServed) {
        Rows rows = start(type, {'W', 'W', 'I'});
        rows.back() = rows.back().failing(LIBUSB_ERROR_TIMEOUT);
        usb().expect(rows);
        EXPECT_FALSE(appInit(type));
    }
}

// The parallel link hands on what a failed read brought; the result counts all the same.
TEST_F(ApplicationStartTest, LetterOfAFailedPollDoesNotCount) {
    Rows rows = start(RIDGE_CAMERA, {'I'});
    rows.back() = rows.back().moving(1);
    rows.push_back(inZeros(0x88, 2).failing(LIBUSB_ERROR_IO));
    usb().expect(rows);
    EXPECT_FALSE(appInit(RIDGE_CAMERA));
}

TEST_F(ApplicationStartTest, TraceOfSuccess) {
    usb().expect(start(RIDGE_CAMERA, {'W', 'I'}));
    const auto camera = openedCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    EXPECT_TRUE(CameraPeer(*camera).appInit());
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::appInit()",
                                    " -> TavoCameraImpl::sendCommand(44, NULL, ..., 0, 0)",
                                    " <- TavoCameraImpl::sendCommand 1 NULL",
                                    "    ----- DEBUG OFF -----", "    ----- DEBUG ON -----",
                                    "    APPINIT completed", "<- TavoCameraImpl::appInit 1"}));
}

TEST_F(ApplicationStartTest, TraceOfAFailedPollIsQuiet) {
    Rows rows = start(BASIN_CAMERA, {'W', 'W'});
    rows.back() = rows.back().failing(LIBUSB_ERROR_TIMEOUT);
    usb().expect(rows);
    const auto camera = openedCamera(BASIN_CAMERA);
    CapturedTrace trace;
    EXPECT_FALSE(CameraPeer(*camera).appInit());
    EXPECT_EQ(
        trace.lines(),
        (Lines{"-> TavoCameraImpl::appInit()",
               " -> TavoCameraImpl::sendCommand(44, NULL, ..., 0, 0)",
               "  -> TavoCameraImpl::i2cWrite(64, [0x56 0x52 0x51 0x2c], 4)",
               "  <- TavoCameraImpl::i2cWrite 1", " <- TavoCameraImpl::sendCommand 1 NULL",
               "    ----- DEBUG OFF -----", "    ----- DEBUG ON -----",
               "    failed to get APPINIT completion status", "<- TavoCameraImpl::appInit 0"}));
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(ApplicationStartTest, TraceOfAFailedCommand) {
    usb().failTransfer(1, kPipe);
    const auto camera = openedCamera(LUMEN_CAMERA);
    CapturedTrace trace;
    EXPECT_FALSE(CameraPeer(*camera).appInit());
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::appInit()",
                     " -> TavoCameraImpl::sendCommand(44, NULL, ..., 0, 0)",
                     "     libusb_bulk_transfer -> LIBUSB_ERROR_PIPE ",
                     " <- TavoCameraImpl::sendCommand 0 NULL", "    ----- DEBUG OFF -----",
                     "    ----- DEBUG ON -----", "    failed to get APPINIT completion status",
                     "<- TavoCameraImpl::appInit 0"}));
}

// Only the exit side of the trace is seen: the entry was silent.
TEST_F(ApplicationStartTest, SwitchesTheTraceOnWhateverItWas) {
    for (const CAMERA_TYPE type : kServed) {
        for (const Bytes& statuses : {Bytes{'I'}, Bytes(kMostPolls, 'W')}) {
            usb().expect(start(type, statuses));
            TavoDebugOn = 0;
            EXPECT_EQ(appInit(type), statuses.size() == 1);
            EXPECT_EQ(TavoDebugOn, 1);
        }
    }
}

TEST_F(ApplicationStartDeathTest, OtherFamiliesEndTheProcess) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, GLINT_CAMERA, kUnknownFamily})
        EXPECT_EXIT(appInit(type), ::testing::ExitedWithCode(1), assertionText(703));
}

} // namespace
} // namespace tavo::test
