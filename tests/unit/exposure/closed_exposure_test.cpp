// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera that was closed, or never opened, is one that was unplugged: nothing is asked of libusb.
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class ClosedExposureTest : public ExposureTest {
protected:
    void TearDown() override {
        for (const Row& row : usb().calls())
            EXPECT_EQ(row.call, Call::pause) << describe(row);
        ExposureTest::TearDown();
    }

    // With what the last open left in it.
    static std::unique_ptr<TavoCameraImpl> closed(std::unique_ptr<TavoCameraImpl> camera) {
        CameraPeer(*camera).handle() = nullptr;
        CameraPeer(*camera).hasShutter() = true;
        return camera;
    }
};

TEST_F(ClosedExposureTest, DoesNotStart) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        for (const auto& camera : {closedCamera(type), closed(exposingCamera(type))}) {
            expectRefused(*camera, camera->startExposure(false), "Failed to start exposure");
            expectState(*camera, {});
        }
    }
}

TEST_F(ClosedExposureTest, Forgets) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = closed(exposingCamera(type));
        EXPECT_EQ(camera->abortExposure(), type != RIDGE_CAMERA);
        EXPECT_STREQ(camera->getLastError(), kUntouched);
        expectState(*camera, {});
    }
}

TEST_F(ClosedExposureTest, MovesNoShutter) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto fresh = closedCamera(type);
        expectRefused(*fresh, fresh->setShutter(true), "Unsupported operation");
        const auto camera = closed(idleCamera(type));
        expectRefused(*camera, camera->setShutter(true), "Failed to set shutter");
        expectState(*camera, {});
    }
}

TEST_F(ClosedExposureTest, ReadsNothing) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto fresh = closedCamera(type);
        expectRefused(*fresh, readCCD(*fresh, {}), "Operation out of sequence");
        expectRefused(*fresh, readCCD(*fresh, {}, 0.1), "Invalid parameter");
        const auto camera = closed(exposingCamera(type));
        expectRefused(*camera, readCCD(*camera, {}), "Failed to read CCD");
        expectState(*camera, {});
    }
}

TEST_F(ClosedExposureTest, TakesNoTimedExposure) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = closed(idleCamera(type));
        expectRefused(*camera, readCCD(*camera, {}, 0.1), "Failed to read CCD");
        expectState(*camera, {});
    }
}

// Its registers are written blindly, so it is the image that is missing.
TEST_F(ClosedExposureTest, GlintExposureShowsItInTheImage) {
    const auto camera = closed(idleCamera(GLINT_CAMERA));
    EXPECT_TRUE(readCCD(*camera, {}, 0.1));
    unsigned short image[8] = {};
    expectRefused(*camera, camera->getImage(image, 8), "Failed to get image");
    expectState(*camera, {});
}

TEST_F(ClosedExposureTest, HasNoImage) {
    unsigned short image[8] = {};
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto fresh = closedCamera(type);
        expectRefused(*fresh, fresh->getImage(image, 8), "Operation out of sequence");
        const auto camera = closed(pendingCamera(type));
        expectRefused(*camera, camera->getImage(image, 8), "Failed to get image");
        expectState(*camera, {});
    }
}

TEST_F(ClosedExposureTest, KeepsItsModesAndSizes) {
    const auto camera = closedCamera(LUMEN_CAMERA);
    EXPECT_TRUE(camera->setPreviewMode(true));
    EXPECT_TRUE(camera->set8BitMode(true));
    EXPECT_EQ(camera->imageWidth(101, 2), 52u);
    EXPECT_EQ(camera->delay(1.0), 1000000u);
}

} // namespace
} // namespace tavo::test::exposure
