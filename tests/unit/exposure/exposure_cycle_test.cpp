// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The order in which the operations of an exposure may be called.
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class ExposureCycleTest : public ExposureTest {
protected:
    unsigned short image[8] = {};
    const Window window{};
    const Window badWindow{.binX = 0};
};

constexpr Expected kIdle{};
constexpr Expected kExposing{.exposing = true};
constexpr Expected kPending{.pending = true, .lockFree = false};
constexpr const char* kOutOfSequence = "Operation out of sequence";

// Plays every family's replies as zeros, which only the ping of a LUMEN_CAMERA minds.
constexpr CAMERA_TYPE kCommandFamilies[]{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA};

TEST_F(ExposureCycleTest, FromStartToImage) {
    for (const CAMERA_TYPE type : kCommandFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        for (int round = 0; round < 2; ++round) {
            EXPECT_TRUE(camera->startExposure(false));
            expectState(*camera, kExposing);
            EXPECT_TRUE(readCCD(*camera, window));
            expectState(*camera, kPending);
            EXPECT_TRUE(camera->getImage(image, 8));
            expectState(*camera, kIdle);
        }
        EXPECT_STREQ(camera->getLastError(), kUntouched);
    }
}

TEST_F(ExposureCycleTest, TimedReadoutNeedsNoStart) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        EXPECT_TRUE(readCCD(*camera, window, 0.1));
        expectState(*camera, kPending);
        EXPECT_TRUE(camera->getImage(image, 8));
        expectState(*camera, kIdle);
        EXPECT_STREQ(camera->getLastError(), kUntouched);
    }
}

TEST_F(ExposureCycleTest, TimedReadoutLeavesARunningExposureAlone) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = exposingCamera(type);
        EXPECT_TRUE(readCCD(*camera, window, 0.1));
        expectState(*camera, {.exposing = true, .pending = true, .lockFree = false});
    }
}

TEST_F(ExposureCycleTest, StartWhileExposingStartsOver) {
    const auto camera = exposingCamera(RIDGE_CAMERA);
    EXPECT_TRUE(camera->startExposure(false));
    expectState(*camera, kExposing);
}

TEST_F(ExposureCycleTest, FailedStartEndsIdle) {
    for (const bool pending : {false, true}) {
        const auto camera = exposingCamera(BASIN_CAMERA);
        CameraPeer(*camera).readoutPending() = pending;
        usb().failTransfer(1, kPipe);
        EXPECT_FALSE(camera->startExposure(false));
        expectState(*camera, kIdle);
    }
}

TEST_F(ExposureCycleTest, ReadoutWithoutAnExposureIsRefused) {
    converse({});
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto idle = idleCamera(type);
        expectRefused(*idle, readCCD(*idle, window), kOutOfSequence);
        expectState(*idle, kIdle);
        expectRefused(*idle, readCCD(*idle, badWindow), kOutOfSequence);
        const auto pending = pendingCamera(type);
        expectRefused(*pending, readCCD(*pending, badWindow), kOutOfSequence);
        expectState(*pending, kPending);
    }
}

TEST_F(ExposureCycleTest, SecondReadoutIsRefused) {
    const auto camera = exposingCamera(BASIN_CAMERA);
    EXPECT_TRUE(readCCD(*camera, window));
    expectRefused(*camera, readCCD(*camera, window), kOutOfSequence);
    expectState(*camera, kPending);
}

TEST_F(ExposureCycleTest, FailedReadoutNeedsANewStart) {
    const auto camera = exposingCamera(BASIN_CAMERA);
    usb().failTransfer(1, kTimeout);
    expectRefused(*camera, readCCD(*camera, window), "Failed to read CCD");
    expectState(*camera, kIdle);
    expectRefused(*camera, readCCD(*camera, window), kOutOfSequence);
}

TEST_F(ExposureCycleTest, BadWindowNeedsANewStart) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = exposingCamera(type);
        CameraPeer(*camera).readoutPending() = true;
        expectRefused(*camera, readCCD(*camera, badWindow), "Invalid parameter");
        expectState(*camera, kIdle);
        expectRefused(*camera, readCCD(*camera, window), kOutOfSequence);
    }
}

TEST_F(ExposureCycleTest, GlintAndUnknownFamiliesHaveNoLongReadout) {
    converse({});
    for (const CAMERA_TYPE type : {GLINT_CAMERA, kUnknownFamily}) {
        const auto camera = exposingCamera(type);
        CapturedTrace trace;
        expectRefused(*camera, readCCD(*camera, window), "Failed to read CCD");
        EXPECT_EQ(trace.contains("    long exposures are unsupported with TAVO GLINT"),
                  type == GLINT_CAMERA);
        expectState(*camera, kIdle);
    }
}

TEST_F(ExposureCycleTest, ImageWithoutAReadoutIsRefused) {
    converse({});
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto idle = idleCamera(type);
        expectRefused(*idle, idle->getImage(image, 8), kOutOfSequence);
        expectState(*idle, kIdle);
        const auto exposing = exposingCamera(type);
        expectRefused(*exposing, exposing->getImage(image, 8), kOutOfSequence);
        expectState(*exposing, kExposing);
    }
}

// The lock belongs to another operation by then.
TEST_F(ExposureCycleTest, SecondImageDoesNotTouchTheLock) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    EXPECT_TRUE(camera->getImage(image, 8));
    CameraPeer(*camera).lock();
    expectRefused(*camera, camera->getImage(image, 8), kOutOfSequence);
    EXPECT_FALSE(CameraPeer(*camera).lockIsFree());
}

TEST_F(ExposureCycleTest, FailedImageIsOver) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    usb().failTransfer(2, kInputOutputError);
    expectRefused(*camera, camera->getImage(image, 8), "Failed to get image");
    expectState(*camera, kIdle);
}

TEST_F(ExposureCycleTest, ImageOfAnUnknownFamilyFails) {
    const auto camera = pendingCamera(kUnknownFamily);
    converse({});
    expectRefused(*camera, camera->getImage(image, 8), "Failed to get image");
    expectState(*camera, kIdle);
}

TEST_F(ExposureCycleTest, TimedReadoutOfAnUnknownFamilyFails) {
    const auto camera = idleCamera(kUnknownFamily);
    converse({});
    expectRefused(*camera, readCCD(*camera, window, 0.1), "Failed to read CCD");
    expectState(*camera, kIdle);
}

TEST_F(ExposureCycleTest, AbortWhileExposing) {
    const auto camera = exposingCamera(RIDGE_CAMERA);
    EXPECT_TRUE(camera->abortExposure());
    expectState(*camera, kIdle);
    expectRefused(*camera, readCCD(*camera, window), kOutOfSequence);
}

} // namespace
} // namespace tavo::test::exposure
