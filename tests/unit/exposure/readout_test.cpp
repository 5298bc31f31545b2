// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Ending a long exposure and asking for its window.
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class ReadoutTest : public ExposureTest {};

// Fits a sensor of 400 x 400 pixels.
constexpr Window kWindow{.x = 10, .y = 20, .width = 300, .height = 50, .binX = 2, .binY = 3};
const Bytes kRidge{0, 0, 2, 0, 3, 0, 10, 0, 20, 0, 0x2C, 0x01, 50, 0, 0x43, 0};
const Bytes kRidgePreview{0, 0, 2, 0, 3, 0, 10, 0, 20, 0, 0x2C, 0x01, 50, 0, 0x43, 1};
const Bytes kBasin{0, 2, 3, 11, 0, 21, 0, 0x37, 0x01, 71, 0, 0, 3};

std::unique_ptr<TavoCameraImpl> readyCamera(CAMERA_TYPE type) {
    auto camera = exposingCamera(type);
    CameraPeer(*camera).pixelCountX() = 400;
    CameraPeer(*camera).pixelCountY() = 400;
    return camera;
}

void expectRead(TavoCameraImpl& camera, const Window& window = kWindow) {
    EXPECT_TRUE(readCCD(camera, window));
    EXPECT_STREQ(camera.getLastError(), kUntouched);
    expectState(camera, {.pending = true, .lockFree = false});
}

void expectFailed(TavoCameraImpl& camera) {
    expectRefused(camera, readCCD(camera, kWindow), "Failed to read CCD");
    expectState(camera, {});
}

void expectStored(TavoCameraImpl& camera, const Window& window) {
    CameraPeer peer(camera);
    EXPECT_EQ(peer.readX(), window.x);
    EXPECT_EQ(peer.readY(), window.y);
    EXPECT_EQ(peer.readWidth(), window.width);
    EXPECT_EQ(peer.readHeight(), window.height);
    EXPECT_EQ(peer.readXBin(), window.binX);
    EXPECT_EQ(peer.readYBin(), window.binY);
}

constexpr Window kNothingStored{0, 0, 0, 0, 0, 0};

TEST_F(ReadoutTest, Basin) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse({command(BASIN_CAMERA, 66),
              {pause(2000000)},
              commandValue(BASIN_CAMERA, 2, 1),
              command(BASIN_CAMERA, 6, kBasin)});
    expectRead(*camera);
    expectStored(*camera, kNothingStored);
}

TEST_F(ReadoutTest, BasinInPreview) {
    const auto camera = readyCamera(BASIN_CAMERA);
    camera->setPreviewMode(true);
    Bytes payload = kBasin;
    payload[11] = 1;
    converse({command(BASIN_CAMERA, 66),
              {pause(2000000)},
              commandValue(BASIN_CAMERA, 2, 1),
              command(BASIN_CAMERA, 6, payload)});
    expectRead(*camera);
}

TEST_F(ReadoutTest, BasinDoesNotPauseAfterAFailedFirstCommand) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse({refused(command(BASIN_CAMERA, 66))});
    expectFailed(*camera);
}

TEST_F(ReadoutTest, BasinStopsAtItsSecondCommand) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse(
        {command(BASIN_CAMERA, 66), {pause(2000000)}, refused(commandValue(BASIN_CAMERA, 2, 1))});
    expectFailed(*camera);
}

TEST_F(ReadoutTest, BasinEndsOnePastTheWindow) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse({command(BASIN_CAMERA, 66),
              {pause(2000000)},
              commandValue(BASIN_CAMERA, 2, 1),
              command(BASIN_CAMERA, 6, {0, 2, 2, 0x0B, 0, 0x15, 0, 0x6F, 0, 0x47, 0, 0, 3})});
    expectRead(*camera, {.x = 10, .y = 20, .width = 100, .height = 50, .binX = 2, .binY = 2});
}

TEST_F(ReadoutTest, RidgeWithoutShutter) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    CameraPeer(*camera).darkFrameMode() = true;
    converse({parallelTimeout(30000), commandValue(RIDGE_CAMERA, 2, 1),
              command(RIDGE_CAMERA, 6, kRidge)});
    expectRead(*camera);
    expectStored(*camera, kNothingStored);
}

TEST_F(ReadoutTest, RidgeClosesItsShutterFirst) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    camera->setPreviewMode(true);
    converse({parallelTimeout(30000), commandValue(RIDGE_CAMERA, 2, 1),
              commandValue(RIDGE_CAMERA, 9, 0), command(RIDGE_CAMERA, 6, kRidgePreview)});
    expectRead(*camera);
}

TEST_F(ReadoutTest, RidgeClosesItsShutterAfterADarkFrameToo) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    camera->setDarkFrameMode(true);
    converse({parallelTimeout(30000), commandValue(RIDGE_CAMERA, 2, 1),
              commandValue(RIDGE_CAMERA, 9, 0), command(RIDGE_CAMERA, 6, kRidge)});
    expectRead(*camera);
}

TEST_F(ReadoutTest, RidgeLeavesTheShutterAfterAFailedCommand) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({parallelTimeout(30000), refused(commandValue(RIDGE_CAMERA, 2, 1))});
    expectFailed(*camera);
}

TEST_F(ReadoutTest, RidgeShutterThatDoesNotCloseFailsTheRequest) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({parallelTimeout(30000), commandValue(RIDGE_CAMERA, 2, 1),
              refused(commandValue(RIDGE_CAMERA, 9, 0))});
    expectFailed(*camera);
}

TEST_F(ReadoutTest, RidgeGoesOnWithTheShortTimeout) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    converse({refused(parallelTimeout(30000)), commandValue(RIDGE_CAMERA, 2, 1),
              command(RIDGE_CAMERA, 6, kRidge)});
    CapturedTrace trace;
    expectRead(*camera);
    EXPECT_TRUE(trace.contains("    set timeout 30000 failed"));
}

TEST_F(ReadoutTest, Heron) {
    const auto camera = readyCamera(HERON_CAMERA);
    CameraPeer(*camera).guideRelayState() = 0x6;
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              spi(2, 0x4A6),
              {pause(100000)},
              spi(5, 1000)});
    expectRead(*camera);
    expectStored(*camera, kWindow);
}

TEST_F(ReadoutTest, HeronWithTheOptionDoesNotPause) {
    const auto camera = readyCamera(HERON_CAMERA);
    CameraPeer(*camera).startOption() = true;
    converse({parallelTimeout(30000), spi(8, 0x210), spi(8, 0x210), spi(2, 0x4A0), spi(5, 1000)});
    expectRead(*camera);
}

TEST_F(ReadoutTest, HeronPausesAsLongAsItIsTold) {
    const auto camera = readyCamera(HERON_CAMERA);
    camera->setParam(QUICKER_READ_CCD_DELAY, 77);
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              spi(2, 0x4A0),
              {pause(77)},
              spi(5, 1000)});
    expectRead(*camera);
}

TEST_F(ReadoutTest, HeronForgivesEverythingBeforeItsThirdWrite) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({refused(parallelTimeout(30000)),
              refused(spi(8, 0x210)),
              refused(spi(8, 0x210)),
              spi(2, 0x4A0),
              {pause(100000)},
              spi(5, 1000)});
    CapturedTrace trace;
    expectRead(*camera);
    EXPECT_TRUE(trace.contains("    set timeout 30000 failed"));
}

TEST_F(ReadoutTest, HeronPausesAndStoresTheWindowThoughItsThirdWriteFailed) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              refused(spi(2, 0x4A0)),
              {pause(100000)}});
    expectFailed(*camera);
    expectStored(*camera, kWindow);
}

TEST_F(ReadoutTest, HeronFailsByItsLastWrite) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              spi(2, 0x4A0),
              {pause(100000)},
              endingIn(spi(5, 1000), LIBUSB_ERROR_PIPE)});
    expectFailed(*camera);
    expectStored(*camera, kWindow);
}

TEST_F(ReadoutTest, HeronTracesTheTimeOfItsRequest) {
    const auto camera = readyCamera(HERON_CAMERA);
    usb().eachTransferTakes(1000);
    CapturedTrace trace;
    expectRead(*camera);
    EXPECT_TRUE(trace.contains("    elapsed 0.108 s")); // eight transfers and the pause
}

struct LumenCase {
    bool eightBit, preview;
    std::uint8_t flags;
};

TEST_F(ReadoutTest, LumenInEveryMode) {
    for (const LumenCase& each : {LumenCase{false, false, 0x00}, LumenCase{true, false, 0x20},
                                  LumenCase{false, true, 0x01}, LumenCase{true, true, 0x21}}) {
        SCOPED_TRACE(int{each.flags});
        const auto camera = readyCamera(LUMEN_CAMERA);
        camera->set8BitMode(each.eightBit);
        camera->setPreviewMode(each.preview);
        converse({command(LUMEN_CAMERA, 6,
                          {0, 0, 0, 2, 0, 3, 0, 10, 0, 20, 0x01, 0x2C, 0, 50, each.flags, 0x43})});
        expectRead(*camera);
        expectStored(*camera, kNothingStored);
    }
}

TEST_F(ReadoutTest, LumenDoesNotPlayAShutter) {
    const auto camera = readyCamera(LUMEN_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({refused(
        command(LUMEN_CAMERA, 6, {0, 0, 0, 2, 0, 3, 0, 10, 0, 20, 0x01, 0x2C, 0, 50, 0, 0x43}))});
    expectFailed(*camera);
}

} // namespace
} // namespace tavo::test::exposure
