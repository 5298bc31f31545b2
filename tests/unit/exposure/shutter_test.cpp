// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The shutter, moved by itself or by abandoning an exposure.
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class ShutterTest : public ExposureTest {};
class AbortExposureTest : public ExposureTest {};

std::unique_ptr<TavoCameraImpl> shutterCamera(CAMERA_TYPE type) {
    auto camera = exposingCamera(type);
    CameraPeer(*camera).hasShutter() = true;
    return camera;
}

TEST_F(ShutterTest, Opens) {
    const auto camera = shutterCamera(RIDGE_CAMERA);
    converse({commandValue(RIDGE_CAMERA, 9, 1)});
    EXPECT_TRUE(camera->setShutter(true));
    EXPECT_STREQ(camera->getLastError(), kUntouched);
    expectState(*camera, {.exposing = true});
}

TEST_F(ShutterTest, Closes) {
    const auto camera = shutterCamera(RIDGE_CAMERA);
    CameraPeer(*camera).darkFrameMode() = true;
    converse({commandValue(RIDGE_CAMERA, 9, 0)});
    EXPECT_TRUE(camera->setShutter(false));
}

TEST_F(ShutterTest, ThatDoesNotMove) {
    const auto camera = shutterCamera(RIDGE_CAMERA);
    converse({refused(commandValue(RIDGE_CAMERA, 9, 1))});
    expectRefused(*camera, camera->setShutter(true), "Failed to set shutter");
    expectState(*camera, {.exposing = true});
}

TEST_F(ShutterTest, OnOtherFamiliesFailsWithoutACommand) {
    converse({});
    for (const CAMERA_TYPE type :
         {BASIN_CAMERA, HERON_CAMERA, GLINT_CAMERA, LUMEN_CAMERA, kUnknownFamily}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = shutterCamera(type);
        expectRefused(*camera, camera->setShutter(true), "Failed to set shutter");
        expectState(*camera, {.exposing = true});
    }
}

TEST_F(ShutterTest, MissingIsRefusedWithoutWaitingForTheLock) {
    converse({});
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = pendingCamera(type);
        expectRefused(*camera, camera->setShutter(false), "Unsupported operation");
        expectState(*camera, {.pending = true, .lockFree = false});
    }
}

TEST_F(AbortExposureTest, ForgetsTheExposureWithoutACommand) {
    converse({});
    for (const CAMERA_TYPE type : {BASIN_CAMERA, HERON_CAMERA, GLINT_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = shutterCamera(type);
        CameraPeer(*camera).readoutPending() = true;
        EXPECT_TRUE(camera->abortExposure());
        EXPECT_STREQ(camera->getLastError(), kUntouched);
        expectState(*camera, {});
        unsigned short pixel = 0;
        expectRefused(*camera, camera->getImage(&pixel, 1), "Operation out of sequence");
    }
}

TEST_F(AbortExposureTest, RidgeWithoutShutter) {
    const auto camera = exposingCamera(RIDGE_CAMERA);
    converse({});
    EXPECT_TRUE(camera->abortExposure());
    expectState(*camera, {});
}

TEST_F(AbortExposureTest, RidgeClosesItsShutter) {
    const auto camera = shutterCamera(RIDGE_CAMERA);
    converse({commandValue(RIDGE_CAMERA, 9, 0)});
    EXPECT_TRUE(camera->abortExposure());
    expectState(*camera, {});
}

TEST_F(AbortExposureTest, RidgeShutterThatDoesNotCloseLeavesNoText) {
    const auto camera = shutterCamera(RIDGE_CAMERA);
    CameraPeer(*camera).readoutPending() = true;
    converse({endingIn(commandValue(RIDGE_CAMERA, 9, 0), LIBUSB_ERROR_TIMEOUT)});
    expectRefused(*camera, camera->abortExposure(), kUntouched);
    expectState(*camera, {});
}

TEST_F(AbortExposureTest, UnknownFamilyIsRefusedAndForgotten) {
    const auto camera = shutterCamera(kUnknownFamily);
    CameraPeer(*camera).readoutPending() = true;
    converse({});
    expectRefused(*camera, camera->abortExposure(), "Unsupported operation");
    expectState(*camera, {});
}

TEST_F(AbortExposureTest, WhenIdle) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = idleCamera(type);
        EXPECT_TRUE(camera->abortExposure());
        expectState(*camera, {});
    }
}

} // namespace
} // namespace tavo::test::exposure
