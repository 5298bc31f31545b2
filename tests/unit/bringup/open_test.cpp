// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What open and close do alike for all families.
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <algorithm>

namespace tavo::test {
namespace {

const char* const kOpenFailed = "Failed to open device";
const char* const kInitializeFailed = "Failed to initialize device";

// BASIN cameras are tried again instead; see basin_retry_test.cpp.
constexpr CAMERA_TYPE kWithoutRetry[]{RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA, LUMEN_CAMERA};

std::size_t countOf(Call call) {
    const Rows calls = usb().calls();
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const Row& row) { return row.call == call; }));
}

class Open : public UnitTest {};

TEST_F(Open, OpenCameraIsLeftAlone) {
    for (const CAMERA_TYPE type : kFamilies) {
        auto camera = openedCamera(type);
        CameraPeer peer(*camera);
        peer.lock();
        CapturedTrace trace;
        EXPECT_TRUE(camera->open());
        expectLines({"-> TavoCameraImpl::open()", "<- TavoCameraImpl::open 01"}, trace.lines());
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_FALSE(peer.lockIsFree());
    }
}

TEST_F(Open, DeviceThatCannotBeOpened) {
    for (const CAMERA_TYPE type : kFamilies) {
        usb().reset();
        usb().expect({device(Call::openDevice, LIBUSB_ERROR_ACCESS)});
        auto camera = closedCamera(type);
        CameraPeer peer(*camera);
        peer.lock();
        CapturedTrace trace;
        EXPECT_FALSE(camera->open());
        EXPECT_STREQ(camera->getLastError(), kOpenFailed);
        EXPECT_EQ(peer.handle(), nullptr);
        EXPECT_TRUE(peer.lockIsFree());
        expectLines(operation("open()", "open 00",
                              {say("unlock()"), say("libusb_open() -> LIBUSB_ERROR_ACCESS")}),
                    trace.lines());
        usb().verify();
    }
}

// All device steps are skipped, the pauses are not.
TEST_F(Open, InterfaceThatCannotBeClaimed) {
    for (const CAMERA_TYPE type : kWithoutRetry) {
        CameraScript script = healthyCamera(type);
        usb().reset();
        usb().respondWith(&script);
        usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
        auto camera = closedCamera(type);
        CameraPeer peer(*camera);
        peer.lock();
        EXPECT_FALSE(camera->open());
        EXPECT_STREQ(camera->getLastError(), kInitializeFailed);
        EXPECT_EQ(peer.handle(), nullptr);
        EXPECT_TRUE(peer.lockIsFree());
        EXPECT_EQ(countOf(Call::setAltSetting), 0u);
        EXPECT_EQ(countOf(Call::closeDevice), 1u);
        EXPECT_EQ(countOf(Call::controlOut) + countOf(Call::controlIn), 0u) << familyName(type);
        EXPECT_EQ(peer.versionMajor() + peer.serialNumber(), 0u);
    }
}

TEST_F(Open, PausesDoNotDependOnSuccess) {
    const auto pausesOf = [](CAMERA_TYPE type) {
        usb().reset();
        usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
        // A flush that reads something goes on.
        usb().failTransfer(1, kTimeout, Repeat::fromThenOn);
        EXPECT_FALSE(closedCamera(type)->open());
        return usb().pauses();
    };
    EXPECT_EQ(pausesOf(RIDGE_CAMERA), (std::vector<long>{200000}));
    EXPECT_EQ(pausesOf(HERON_CAMERA), (std::vector<long>{200000, 200000}));
    EXPECT_EQ(pausesOf(LUMEN_CAMERA), (std::vector<long>{200000, 200000, 200000}));
    EXPECT_EQ(pausesOf(GLINT_CAMERA), (std::vector<long>{1000}));
}

TEST_F(Open, FlushRunsAfterAFailedClaim) {
    usb().expect({device(Call::openDevice), device(Call::kernelDriverActive),
                  device(Call::claimInterface, LIBUSB_ERROR_BUSY), pause(200000),
                  frame({.code = 9, .b = 1}).within(100),
                  inZeros(0x88, 2).failing(LIBUSB_ERROR_TIMEOUT).within(100),
                  device(Call::closeDevice)});
    auto camera = closedCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    EXPECT_FALSE(camera->open());
    expectLines(
        operation(
            "open()", "open 00",
            {say("libusb_claim_interface() -> LIBUSB_ERROR_BUSY"),
             call("flush()", "flush",
                  {say("libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT"), say("0 bytes flushed")}),
             say("pid = 2005"), say("unlock()"), say("failed to initialize device!!!")}),
        trace.lines());
    EXPECT_EQ(CameraPeer(*camera).bulkTimeout(), 30000u);
}

TEST_F(Open, AlternateSettingThatCannotBeChosen) {
    for (const CAMERA_TYPE type : {RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        CameraScript script = healthyCamera(type);
        usb().reset();
        usb().respondWith(&script);
        usb().answer(Call::setAltSetting, LIBUSB_ERROR_NOT_FOUND);
        auto camera = closedCamera(type);
        CapturedTrace trace;
        EXPECT_FALSE(camera->open());
        EXPECT_STREQ(camera->getLastError(), kInitializeFailed);
        EXPECT_TRUE(trace.contains("    libusb_claim_interface() -> LIBUSB_SUCCESS"));
        EXPECT_TRUE(
            trace.contains("    libusb_set_interface_alt_setting() -> LIBUSB_ERROR_NOT_FOUND"));
        EXPECT_EQ(countOf(Call::controlOut), 0u);
    }
}

TEST_F(Open, KernelDriverIsDetached) {
    struct Case {
        int active, detached;
        std::size_t detachCalls;
    };
    for (const Case& each : {Case{1, 0, 1}, Case{1, LIBUSB_ERROR_NOT_FOUND, 1}, Case{0, 0, 0},
                             Case{2, 0, 0}, Case{LIBUSB_ERROR_NOT_SUPPORTED, 0, 0}}) {
        usb().reset();
        usb().answer(Call::kernelDriverActive, each.active);
        usb().answer(Call::detachKernelDriver, each.detached);
        auto camera = closedCamera(GLINT_CAMERA);
        CapturedTrace trace;
        EXPECT_TRUE(camera->open());
        EXPECT_EQ(countOf(Call::detachKernelDriver), each.detachCalls) << each.active;
        const std::string line =
            std::string("    libusb_detach_kernel_driver() -> ") + libusb_error_name(each.detached);
        EXPECT_EQ(trace.contains(line), each.detachCalls == 1);
    }
}

TEST_F(Open, UnknownFamily) {
    CameraScript script(RIDGE_CAMERA);
    usb().respondWith(&script);
    auto camera = closedCamera(kUnknownFamily);
    CapturedTrace trace;
    EXPECT_FALSE(camera->open());
    EXPECT_STREQ(camera->getLastError(), kInitializeFailed);
    EXPECT_EQ(CameraPeer(*camera).handle(), nullptr);
    const Lines lines = trace.lines();
    ASSERT_GE(lines.size(), 4u);
    expectLines({"    unsupported device!!!", "    unlock()", "    failed to initialize device!!!",
                 "<- TavoCameraImpl::open 00"},
                Lines(lines.end() - 4, lines.end()));
}

TEST_F(Open, SuccessLeavesTheLockAlone) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, GLINT_CAMERA}) {
        CameraScript script = healthyCamera(type);
        usb().reset();
        usb().respondWith(&script);
        auto camera = closedCamera(type);
        CameraPeer peer(*camera);
        peer.lock();
        EXPECT_TRUE(camera->open());
        EXPECT_FALSE(peer.lockIsFree());
    }
}

TEST_F(Open, AgainAfterCloseRunsEverythingAgain) {
    for (const CAMERA_TYPE type : kFamilies) {
        usb().reset();
        auto camera = closedCamera(type);
        CameraScript first = healthyCamera(type), second = healthyCamera(type);
        usb().respondWith(&first);
        EXPECT_TRUE(camera->open());
        const Rows before = usb().calls();
        camera->close();
        usb().forgetCalls();
        usb().respondWith(&second);
        EXPECT_TRUE(camera->open());
        const Rows after = usb().calls();
        ASSERT_EQ(before.size(), after.size()) << familyName(type);
        for (std::size_t i = 0; i < before.size(); ++i) {
            Row expected = before[i];
            expected.anyTransaction = expected.endpoint == 0x04;
            EXPECT_EQ(difference(expected, after[i]), "") << familyName(type) << " call " << i;
        }
    }
}

TEST_F(Open, RunsAgainAfterAFailure) {
    CameraScript script = healthyCamera(RIDGE_CAMERA);
    usb().respondWith(&script);
    usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
    auto camera = closedCamera(RIDGE_CAMERA);
    EXPECT_FALSE(camera->open());
    usb().answer(Call::claimInterface, 0);
    EXPECT_TRUE(camera->open());
    EXPECT_STREQ(camera->getLastError(), kInitializeFailed); // success does not clear it
}

// The controller's flush takes whatever a crashed application left behind.
TEST_F(Open, DiscardsWhatTheCameraHasQueued) {
    CameraScript script = healthyCamera(RIDGE_CAMERA);
    script.feed({1, 2, 3});
    usb().respondWith(&script);
    CapturedTrace trace;
    EXPECT_TRUE(closedCamera(RIDGE_CAMERA)->open());
    EXPECT_TRUE(trace.contains("     3 bytes flushed"));
}

TEST_F(Open, FailedProductIdKeepsWhatWasRead) {
    CameraScript script = healthyCamera(RIDGE_CAMERA, {.productId = 0xDF2C});
    usb().respondWith(&script);
    auto camera = closedCamera(RIDGE_CAMERA);
    usb().failTransfer(14, kInputOutputError); // the reply with the id
    CapturedTrace trace;
    EXPECT_FALSE(camera->open());
    EXPECT_TRUE(trace.contains("    pid = 0"));
    EXPECT_TRUE(trace.contains("    colour = 1, offsetX = 0, offsetY = 0")); // probed all the same
    EXPECT_EQ(script.countOf(80), 0u);
}

TEST_F(Open, FailureForgetsTheVersion) {
    CameraScript script = healthyCamera(LUMEN_CAMERA);
    script.silence(253);
    usb().respondWith(&script);
    auto camera = closedCamera(LUMEN_CAMERA);
    CameraPeer peer(*camera);
    peer.versionMajor() = peer.versionMinor() = peer.serialNumber() = 7;
    peer.pixelCountX() = 1234;
    EXPECT_FALSE(camera->open());
    EXPECT_EQ(camera->getVersionMajor(), 0u);
    EXPECT_EQ(camera->getVersionMinor(), 0u);
    EXPECT_EQ(camera->getSerialNumber(), 0u);
    EXPECT_EQ(peer.pixelCountX(), 1234u);
}

class Close : public UnitTest {};

TEST_F(Close, ClosesTheHandleAndNothingElse) {
    for (const CAMERA_TYPE type : kFamilies) {
        usb().reset();
        auto camera = openedCamera(type);
        CameraPeer peer(*camera);
        peer.pixelCountX() = 1392;
        peer.openRetryCounter() = 1;
        peer.lastError() = "kept";
        peer.lock();
        CapturedTrace trace;
        camera->close();
        camera->close();
        usb().expectCalls({device(Call::closeDevice)});
        EXPECT_EQ(peer.handle(), nullptr);
        EXPECT_EQ(peer.pixelCountX(), 1392u);
        EXPECT_EQ(peer.openRetryCounter(), 1);
        EXPECT_STREQ(camera->getLastError(), "kept");
        EXPECT_FALSE(peer.lockIsFree());
        const Lines once{"-> TavoCameraImpl::close()", "<- TavoCameraImpl::close"};
        expectLines(joinedLines({once, once}), trace.lines());
    }
}

TEST_F(Close, AfterAFailedOpenDoesNothing) {
    usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
    auto camera = closedCamera(GLINT_CAMERA);
    EXPECT_FALSE(camera->open());
    EXPECT_EQ(countOf(Call::closeDevice), 1u);
    camera->close();
    EXPECT_EQ(countOf(Call::closeDevice), 1u);
    EXPECT_STREQ(camera->getLastError(), kInitializeFailed);
}

} // namespace
} // namespace tavo::test
