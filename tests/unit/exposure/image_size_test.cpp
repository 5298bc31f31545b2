// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class ImageSizeTest : public ExposureTest {};

struct Case {
    unsigned length, bin, pixels;
};

TEST_F(ImageSizeTest, WidthRoundsDown) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        CameraPeer(*camera).eightBitMode() = true;
        for (const Case& each : {Case{101, 2, 50},
                                 {100, 2, 50},
                                 {3, 4, 0},
                                 {0, 1, 0},
                                 {7, 1, 7},
                                 {0xFFFFFFFF, 2, 0x7FFFFFFF},
                                 {7, 0, 0}})
            EXPECT_EQ(camera->imageWidth(each.length, each.bin), each.pixels)
                << each.length << " / " << each.bin;
    }
}

TEST_F(ImageSizeTest, WidthRoundsUpOnLumen) {
    const auto camera = idleCamera(LUMEN_CAMERA);
    // The last sum wraps.
    for (const Case& each : {Case{101, 2, 51},
                             {100, 2, 50},
                             {3, 4, 1},
                             {0, 4, 0},
                             {7, 1, 7},
                             {7, 0, 0},
                             {0xFFFFFFFF, 2, 0}})
        EXPECT_EQ(camera->imageWidth(each.length, each.bin), each.pixels)
            << each.length << " / " << each.bin;
}

TEST_F(ImageSizeTest, WidthIsEvenOnLumenWith8Bits) {
    const auto camera = idleCamera(LUMEN_CAMERA);
    ASSERT_TRUE(camera->set8BitMode(true));
    for (const Case& each : {Case{101, 2, 52},
                             {100, 2, 50},
                             {99, 2, 50},
                             {3, 4, 2},
                             {0, 4, 0},
                             {7, 1, 8},
                             {7, 0, 0},
                             {0xFFFFFFFF, 1, 0}})
        EXPECT_EQ(camera->imageWidth(each.length, each.bin), each.pixels)
            << each.length << " / " << each.bin;
}

TEST_F(ImageSizeTest, HeightRoundsDownEverywhere) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        CameraPeer(*camera).eightBitMode() = true;
        for (const Case& each : {Case{101, 2, 50}, {3, 4, 0}, {0, 1, 0}, {7, 1, 7}, {7, 0, 0}})
            EXPECT_EQ(camera->imageHeight(each.length, each.bin), each.pixels)
                << each.length << " / " << each.bin;
    }
}

TEST_F(ImageSizeTest, NeitherTalksNorTracesNorLocks) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = pendingCamera(type);
        converse({});
        CapturedTrace trace;
        camera->imageWidth(10, 2);
        camera->imageHeight(10, 2);
        EXPECT_EQ(trace.text(), "");
        expectState(*camera, {.pending = true, .lockFree = false});
    }
}

} // namespace
} // namespace tavo::test::exposure
