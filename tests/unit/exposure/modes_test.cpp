// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/exposure_test.h"

#include <algorithm>
#include <vector>

namespace tavo::test::exposure {
namespace {

class ModesTest : public ExposureTest {};

using Setter = bool (TavoCamera::*)(bool);

struct Mode {
    const char* name;
    Setter set;
    bool (*stored)(CameraPeer);
    std::vector<CAMERA_TYPE> served;
    const char* refusal;
};

const Mode kPreview{"preview",
                    &TavoCamera::setPreviewMode,
                    [](CameraPeer peer) { return peer.previewMode().load(); },
                    {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA},
                    "Unsupported operation"};
const Mode kEightBit{"8-bit",
                     &TavoCamera::set8BitMode,
                     [](CameraPeer peer) { return peer.eightBitMode().load(); },
                     {LUMEN_CAMERA},
                     "Unsupported operation"};
const Mode kDarkFrame{"dark frame",
                      &TavoCamera::setDarkFrameMode,
                      [](CameraPeer peer) { return peer.darkFrameMode().load(); },
                      {RIDGE_CAMERA},
                      kUntouched};

bool serves(const Mode& mode, CAMERA_TYPE type) {
    return std::find(mode.served.begin(), mode.served.end(), type) != mode.served.end();
}

void expectFamily(const Mode& mode, CAMERA_TYPE type) {
    SCOPED_TRACE(std::string(mode.name) + " " + familyName(type));
    const auto camera = idleCamera(type);
    EXPECT_FALSE(mode.stored(CameraPeer(*camera)));
    EXPECT_TRUE((camera.get()->*mode.set)(false));
    EXPECT_STREQ(camera->getLastError(), kUntouched);
    const bool served = serves(mode, type);
    for (int i = 0; i < 2; ++i) { // a refused value still differs the second time
        EXPECT_EQ((camera.get()->*mode.set)(true), served);
        EXPECT_EQ(mode.stored(CameraPeer(*camera)), served);
        EXPECT_STREQ(camera->getLastError(), served ? kUntouched : mode.refusal);
    }
    markLastError(*camera);
    EXPECT_TRUE((camera.get()->*mode.set)(false));
    EXPECT_FALSE(mode.stored(CameraPeer(*camera)));
    EXPECT_STREQ(camera->getLastError(), kUntouched);
}

TEST_F(ModesTest, ServedByTheirFamiliesAlone) {
    converse({});
    for (const Mode* mode : {&kPreview, &kEightBit, &kDarkFrame}) {
        for (const CAMERA_TYPE type : kFamilies)
            expectFamily(*mode, type);
        expectFamily(*mode, kUnknownFamily);
    }
}

// What is set counts, not who serves it.
TEST_F(ModesTest, SwitchingOffIsRefusedWhereItWouldChangeAnUnservedMode) {
    const auto camera = idleCamera(HERON_CAMERA);
    CameraPeer(*camera).previewMode() = true;
    EXPECT_TRUE(camera->setPreviewMode(true));
    expectRefused(*camera, camera->setPreviewMode(false), "Unsupported operation");
    EXPECT_TRUE(CameraPeer(*camera).previewMode());
}

TEST_F(ModesTest, NeitherWaitForTheLockNorTouchTheCycle) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    converse({});
    EXPECT_TRUE(camera->setPreviewMode(true));
    EXPECT_TRUE(camera->set8BitMode(true));
    EXPECT_FALSE(camera->setDarkFrameMode(true));
    expectState(*camera, {.pending = true, .lockFree = false});
}

TEST_F(ModesTest, UnchangedPreviewIsTraced) {
    const auto camera = idleCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    camera->setPreviewMode(false);
    EXPECT_TRUE(trace.contains("    not changed"));
    trace.forget();
    camera->setPreviewMode(true);
    EXPECT_FALSE(trace.contains("    not changed"));
    trace.forget();
    camera->set8BitMode(false);
    camera->setDarkFrameMode(false);
    EXPECT_FALSE(trace.contains("    not changed"));
}

TEST_F(ModesTest, KeepTheirValueAcrossExposures) {
    const auto camera = idleCamera(RIDGE_CAMERA);
    camera->setPreviewMode(true);
    camera->setDarkFrameMode(true);
    EXPECT_TRUE(camera->startExposure(false));
    EXPECT_TRUE(readCCD(*camera, {}));
    unsigned short image[8] = {};
    EXPECT_TRUE(camera->getImage(image, 8));
    EXPECT_TRUE(camera->startExposure(false));
    EXPECT_TRUE(camera->abortExposure());
    EXPECT_TRUE(CameraPeer(*camera).previewMode());
    EXPECT_TRUE(CameraPeer(*camera).darkFrameMode());
}

} // namespace
} // namespace tavo::test::exposure
