// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which windows may be asked for, by either form of the readout.
#include "exposure/exposure_test.h"

#include <optional>

namespace tavo::test::exposure {
namespace {

class ReadoutWindowTest : public ExposureTest {};

constexpr unsigned kMost = 0xFFFFFFFF;

// For a sensor of 100 x 80 pixels with binning up to 4 x 3.
constexpr Window kAccepted[]{
    {.width = 100, .height = 100}, // the height is held against the width of the sensor
    {.width = 0, .height = 0},     // empty
    {.x = 100, .y = 100, .width = 0, .height = 0},
    {.x = 99, .y = 99, .width = 1, .height = 1},
    {.binX = 4, .binY = 3},
    {.x = kMost, .width = 2},    // the sum wraps to 1
    {.y = kMost, .height = 101}, // to 100
    {.x = 1, .width = kMost},
};

constexpr Window kRefused[]{
    {.binX = 0},
    {.binX = 5},
    {.binX = kMost},
    {.binY = 0},
    {.binY = 4},
    {.binY = kMost},
    {.width = 101},
    {.x = 1, .width = 100},
    {.x = kMost, .width = 102},
    {.height = 101},
    {.y = 1, .height = 100},
    {.y = kMost, .height = 102},
    {.x = kMost, .width = 0},
};

std::string text(const Window& w) {
    return ::testing::PrintToString(
        std::vector<unsigned>{w.x, w.y, w.width, w.height, w.binX, w.binY});
}

bool ask(TavoCamera& camera, const Window& window, std::optional<double> seconds) {
    return seconds ? readCCD(camera, window, *seconds) : readCCD(camera, window);
}

void expectAccepted(CAMERA_TYPE type, std::optional<double> seconds) {
    for (const Window& window : kAccepted) {
        SCOPED_TRACE(text(window));
        const auto camera = exposingCamera(type);
        EXPECT_TRUE(ask(*camera, window, seconds));
        EXPECT_TRUE(CameraPeer(*camera).readoutPending());
    }
}

void expectInvalid(CAMERA_TYPE type, std::optional<double> seconds) {
    for (const Window& window : kRefused) {
        SCOPED_TRACE(text(window));
        const auto camera = exposingCamera(type);
        CameraPeer(*camera).readoutPending() = true;
        usb().forgetCalls();
        expectRefused(*camera, ask(*camera, window, seconds), "Invalid parameter");
        EXPECT_EQ(usb().calls().size(), 0u);
        // Only the form for long exposures has anything to do with the running one.
        expectState(*camera, {.exposing = seconds.has_value()});
        EXPECT_EQ(CameraPeer(*camera).readWidth(), 0u);
    }
}

TEST_F(ReadoutWindowTest, OfLongExposures) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        expectAccepted(type, std::nullopt);
    }
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        expectInvalid(type, std::nullopt);
    }
}

TEST_F(ReadoutWindowTest, OfTimedExposures) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        expectAccepted(type, 0.1);
    }
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        expectInvalid(type, 0.1);
    }
}

TEST_F(ReadoutWindowTest, OfATallSensorEndWhereItsWidthDoes) {
    for (const std::optional<double> seconds : {std::optional<double>(), std::optional(0.1)}) {
        const auto camera = exposingCamera(LUMEN_CAMERA);
        CameraPeer(*camera).pixelCountX() = 1000;
        CameraPeer(*camera).pixelCountY() = 2000;
        EXPECT_TRUE(ask(*camera, {.y = 900, .height = 100}, seconds));
        const auto other = exposingCamera(LUMEN_CAMERA);
        CameraPeer(*other).pixelCountX() = 1000;
        CameraPeer(*other).pixelCountY() = 2000;
        expectRefused(*other, ask(*other, {.y = 1500, .height = 100}, seconds),
                      "Invalid parameter");
    }
}

// So an application that lost an image gets its camera back.
TEST_F(ReadoutWindowTest, RefusedOfALongExposureFreesTheLockOfOthers) {
    const auto camera = exposingCamera(RIDGE_CAMERA);
    CameraPeer(*camera).lock();
    expectRefused(*camera, readCCD(*camera, {.binX = 0}), "Invalid parameter");
    EXPECT_TRUE(CameraPeer(*camera).lockIsFree());
}

TEST_F(ReadoutWindowTest, RefusedOfATimedExposureFreesNoLock) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = pendingCamera(type);
        expectRefused(*camera, readCCD(*camera, {.binX = 0}, 0.1), "Invalid parameter");
        expectState(*camera, {.lockFree = false});
    }
}

// Fields of 16 bits carry the low bits of what was asked for.
TEST_F(ReadoutWindowTest, LowBitsTravel) {
    constexpr Window kWide{.x = 0x12345,
                           .y = 0x23456,
                           .width = 0x3ABCD,
                           .height = 0x4FFFF,
                           .binX = 0x1FE,
                           .binY = 0x102};
    const auto prepared = [](CAMERA_TYPE type) {
        auto camera = exposingCamera(type);
        CameraPeer peer(*camera);
        peer.pixelCountX() = peer.maxBinX() = peer.maxBinY() = 0x7FFFFFFF;
        return camera;
    };
    const auto basin = prepared(BASIN_CAMERA), ridge = prepared(RIDGE_CAMERA),
               lumen = prepared(LUMEN_CAMERA);
    converse({command(BASIN_CAMERA, 66),
              {pause(2000000)},
              commandValue(BASIN_CAMERA, 2, 1),
              command(BASIN_CAMERA, 6,
                      {0, 0xFE, 0x02, 0x46, 0x23, 0x57, 0x34, 0x13, 0xCF, 0x56, 0x34, 0, 3}),
              parallelTimeout(30000),
              commandValue(RIDGE_CAMERA, 2, 1),
              command(RIDGE_CAMERA, 6,
                      {0, 0, 0xFE, 0x01, 0x02, 0x01, 0x45, 0x23, 0x56, 0x34, 0xCD, 0xAB, 0xFF, 0xFF,
                       0x43, 0}),
              command(LUMEN_CAMERA, 6,
                      {0, 0, 0, 0xFE, 0, 0x02, 0x23, 0x45, 0x34, 0x56, 0xAB, 0xCD, 0xFF, 0xFF, 0,
                       0x43})});
    EXPECT_TRUE(readCCD(*basin, kWide));
    EXPECT_TRUE(readCCD(*ridge, kWide));
    EXPECT_TRUE(readCCD(*lumen, kWide));
}

} // namespace
} // namespace tavo::test::exposure
