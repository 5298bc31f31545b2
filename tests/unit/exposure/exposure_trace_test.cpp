// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the operations of an exposure write between their entry and their exit.
#include "exposure/exposure_test.h"
#include "exposure/patient_camera.h"

#include <functional>

namespace tavo::test::exposure {
namespace {

using Operation = std::function<void(TavoCameraImpl&)>;

const Operation kStart = [](TavoCameraImpl& camera) { camera.startExposure(true); };
const Operation kAbort = [](TavoCameraImpl& camera) { camera.abortExposure(); };
const Operation kRead = [](TavoCameraImpl& camera) {
    readCCD(camera, {.x = 1, .y = 2, .width = 8, .height = 4, .binX = 2, .binY = 2});
};
const Operation kReadTimed = [](TavoCameraImpl& camera) {
    readCCD(camera, {.x = 1, .y = 2, .width = 8, .height = 4, .binX = 2, .binY = 2}, 0.5);
};

constexpr const char* kReadEntry = "-> TavoCameraImpl::readCCD(1, 2, 8, 4, 2, 2)";
constexpr const char* kTimedEntry = "-> TavoCameraImpl::readCCD(1, 2, 8, 4, 2, 2, 0.500000)";
constexpr const char* kLock = "    lock()";
constexpr const char* kUnlock = "    unlock()";

class ExposureTraceTest : public ExposureTest {
protected:
    ExposureTraceTest() { usb().respondWith(&peer); }

    Lines linesOf(TavoCameraImpl& camera, const Operation& operation) {
        CapturedTrace trace;
        operation(camera);
        EXPECT_EQ(traceDepth(), 0);
        return ownLines(trace);
    }

    static void failFrom(std::size_t transfer) {
        usb().failTransfer(transfer, kPipe, Repeat::fromThenOn);
    }

    PatientCamera peer;
};

TEST_F(ExposureTraceTest, WholeLinesWithThoseOfTheCommand) {
    const auto camera = idleCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    CapturedTrace trace;
    camera->setShutter(true);
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::shutter(1)", kLock,
                                    " -> TavoCameraImpl::sendCommand(9, [0x01 0x00], ..., 2, 0)",
                                    " <- TavoCameraImpl::sendCommand 1 NULL", kUnlock,
                                    "<- TavoCameraImpl::shutter 1"}));
}

TEST_F(ExposureTraceTest, ShutterGoesByItsShortName) {
    const auto camera = idleCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    camera->setShutter(false);
    ASSERT_EQ(trace.lines().size(), 2u);
    EXPECT_EQ(trace.lines()[0], "-> TavoCameraImpl::shutter(0)");
    EXPECT_EQ(trace.lines()[1].rfind("<- TavoCameraImpl::shutter 0", 0), 0u);
    CameraPeer(*camera).hasShutter() = true;
    failFrom(1);
    EXPECT_EQ(
        linesOf(*camera, [](TavoCameraImpl& it) { it.setShutter(false); }),
        (Lines{"-> TavoCameraImpl::shutter(0)", kLock, kUnlock, "<- TavoCameraImpl::shutter 0"}));
}

TEST_F(ExposureTraceTest, StartAndAbort) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        EXPECT_EQ(linesOf(*camera, kStart), (Lines{"-> TavoCameraImpl::startExposure(1)", kLock,
                                                   kUnlock, "<- TavoCameraImpl::startExposure 1"}));
        EXPECT_EQ(linesOf(*camera, kAbort), (Lines{"-> TavoCameraImpl::abortExposure()", kLock,
                                                   kUnlock, "<- TavoCameraImpl::abortExposure 1"}));
        failFrom(1);
        EXPECT_EQ(linesOf(*camera, kStart), (Lines{"-> TavoCameraImpl::startExposure(1)", kLock,
                                                   kUnlock, "<- TavoCameraImpl::startExposure 0"}));
        usb().failTransfer(0, kPipe);
    }
    EXPECT_EQ(linesOf(*idleCamera(GLINT_CAMERA), kStart),
              (Lines{"-> TavoCameraImpl::startExposure(1)", kLock,
                     "    long exposures are unsupported with TAVO GLINT", kUnlock,
                     "<- TavoCameraImpl::startExposure 0"}));
}

TEST_F(ExposureTraceTest, RefusedReadouts) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        EXPECT_EQ(linesOf(*idleCamera(type), kRead),
                  (Lines{kReadEntry, "<- TavoCameraImpl::readCCD 00"}));
        const auto camera = exposingCamera(type);
        CameraPeer(*camera).maxBinX() = 1;
        EXPECT_EQ(linesOf(*camera, kReadTimed),
                  (Lines{kTimedEntry, "<- TavoCameraImpl::readCCD 00"}));
        EXPECT_EQ(linesOf(*camera, kRead),
                  (Lines{kReadEntry, kUnlock, "<- TavoCameraImpl::readCCD 00"}));
    }
}

TEST_F(ExposureTraceTest, Readouts) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA})
        EXPECT_EQ(linesOf(*exposingCamera(type), kRead),
                  (Lines{kReadEntry, kLock, "<- TavoCameraImpl::readCCD 1"}));
    EXPECT_EQ(linesOf(*exposingCamera(HERON_CAMERA), kRead),
              (Lines{kReadEntry, kLock, "    elapsed 0.1 s", "<- TavoCameraImpl::readCCD 1"}));
    EXPECT_EQ(linesOf(*exposingCamera(GLINT_CAMERA), kRead),
              (Lines{kReadEntry, kLock, "    long exposures are unsupported with TAVO GLINT",
                     kUnlock, "<- TavoCameraImpl::readCCD 0"}));
}

TEST_F(ExposureTraceTest, FailedReadouts) {
    failFrom(1);
    for (const CAMERA_TYPE type : {BASIN_CAMERA, LUMEN_CAMERA})
        EXPECT_EQ(linesOf(*exposingCamera(type), kRead),
                  (Lines{kReadEntry, kLock, kUnlock, "<- TavoCameraImpl::readCCD 0"}));
    EXPECT_EQ(linesOf(*exposingCamera(RIDGE_CAMERA), kRead),
              (Lines{kReadEntry, kLock, "    set timeout 30000 failed", kUnlock,
                     "<- TavoCameraImpl::readCCD 0"}));
    EXPECT_EQ(linesOf(*exposingCamera(HERON_CAMERA), kRead),
              (Lines{kReadEntry, kLock, "    set timeout 30000 failed", "    elapsed 0.1 s",
                     kUnlock, "<- TavoCameraImpl::readCCD 0"}));
}

TEST_F(ExposureTraceTest, TimedReadouts) {
    constexpr const char* kExit = "<- TavoCameraImpl::readCCD 1";
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA})
        EXPECT_EQ(linesOf(*idleCamera(type), kReadTimed), (Lines{kTimedEntry, kLock, kExit}));
    EXPECT_EQ(linesOf(*idleCamera(HERON_CAMERA), kReadTimed),
              (Lines{kTimedEntry, kLock, "    expCode 1464", kExit}));
    EXPECT_EQ(linesOf(*idleCamera(LUMEN_CAMERA), kReadTimed),
              (Lines{kTimedEntry, kLock, "    exp code, ms, delay: 500, 0, 0.5", kExit}));
    failFrom(1);
    EXPECT_EQ(linesOf(*idleCamera(RIDGE_CAMERA), kReadTimed),
              (Lines{kTimedEntry, kLock, "    set timeout 30000 failed", kUnlock,
                     "<- TavoCameraImpl::readCCD 0"}));
}

TEST_F(ExposureTraceTest, RefusedGlintReadouts) {
    const auto camera = idleCamera(GLINT_CAMERA);
    EXPECT_EQ(linesOf(*camera, [](TavoCameraImpl& it) { readCCD(it, {.binX = 2}, 0.5); }),
              (Lines{"-> TavoCameraImpl::readCCD(0, 0, 4, 2, 2, 1, 0.500000)", kLock, kUnlock,
                     "<- TavoCameraImpl::readCCD 00 - unsupported binning"}));
    EXPECT_EQ(linesOf(*camera, [](TavoCameraImpl& it) { readCCD(it, {}, 0.6); }),
              (Lines{"-> TavoCameraImpl::readCCD(0, 0, 4, 2, 1, 1, 0.600000)", kLock, kUnlock,
                     "<- TavoCameraImpl::readCCD 00 - too long exposure"}));
}

Operation fetching(unsigned size) {
    return [size](TavoCameraImpl& camera) {
        unsigned short image[8] = {0x2211, 0x4433, 0x6655, 0x8877};
        camera.getImage(image, size);
    };
}

TEST_F(ExposureTraceTest, RefusedImage) {
    EXPECT_EQ(linesOf(*idleCamera(RIDGE_CAMERA), fetching(8)),
              (Lines{"-> TavoCameraImpl::getImage(..., 8)", "<- TavoCameraImpl::getImage 00"}));
}

TEST_F(ExposureTraceTest, Images) {
    constexpr const char* kEntry = "-> TavoCameraImpl::getImage(..., 8)";
    constexpr const char* kElapsed = "    elapsed 0 s";
    constexpr const char* kExit = "<- TavoCameraImpl::getImage 1 [0x00 0x00 0x00 0x00...]";
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, GLINT_CAMERA, LUMEN_CAMERA})
        EXPECT_EQ(linesOf(*pendingCamera(type), fetching(8)),
                  (Lines{kEntry, kElapsed, kUnlock, kExit}))
            << familyName(type);
    EXPECT_EQ(linesOf(*pendingCamera(HERON_CAMERA), fetching(8)), (Lines{kEntry, kUnlock, kExit}));
}

TEST_F(ExposureTraceTest, DumpCountsBytesOfThePixels) {
    EXPECT_EQ(linesOf(*pendingCamera(BASIN_CAMERA), fetching(2)).back(),
              "<- TavoCameraImpl::getImage 1 [0x00 0x00 0x00 0x00]");
    EXPECT_EQ(linesOf(*pendingCamera(BASIN_CAMERA), fetching(1)).back(),
              "<- TavoCameraImpl::getImage 1 [0x00 0x00]");
    EXPECT_EQ(linesOf(*pendingCamera(BASIN_CAMERA), fetching(0)).back(),
              "<- TavoCameraImpl::getImage 1 ]");
}

// Reads of the parallel link have no lines of their own, so libusb's stands among getImage's.
TEST_F(ExposureTraceTest, FailedImages) {
    constexpr const char* kEntry = "-> TavoCameraImpl::getImage(..., 8)";
    constexpr const char* kLost = "    libusb_bulk_transfer -> LIBUSB_ERROR_PIPE ";
    constexpr const char* kElapsed = "    elapsed 0 s";
    constexpr const char* kTimeout = "    set timeout 1000 failed";
    constexpr const char* kExit = "<- TavoCameraImpl::getImage 0 [0x11 0x22 0x33 0x44...]";
    failFrom(1);
    EXPECT_EQ(linesOf(*pendingCamera(BASIN_CAMERA), fetching(8)),
              (Lines{kEntry, kLost, kElapsed, kUnlock, kExit}));
    EXPECT_EQ(linesOf(*pendingCamera(RIDGE_CAMERA), fetching(8)),
              (Lines{kEntry, kLost, kElapsed, kTimeout, kUnlock, kExit}));
    EXPECT_EQ(linesOf(*pendingCamera(HERON_CAMERA), fetching(8)),
              (Lines{kEntry, kLost, "    failed to read dummy word", kTimeout, kUnlock, kExit}));
    EXPECT_EQ(linesOf(*pendingCamera(kUnknownFamily), fetching(8)),
              (Lines{kEntry, kUnlock, kExit}));
}

TEST_F(ExposureTraceTest, Modes) {
    const auto camera = idleCamera(HERON_CAMERA);
    EXPECT_EQ(linesOf(*camera, [](TavoCameraImpl& it) { it.setPreviewMode(false); }),
              (Lines{"-> TavoCameraImpl::setPreviewMode(0)", "    not changed",
                     "<- TavoCameraImpl::setPreviewMode 1"}));
    EXPECT_EQ(
        linesOf(*camera, [](TavoCameraImpl& it) { it.setPreviewMode(true); }),
        (Lines{"-> TavoCameraImpl::setPreviewMode(1)", "<- TavoCameraImpl::setPreviewMode 00"}));
}

} // namespace
} // namespace tavo::test::exposure
