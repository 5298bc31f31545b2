// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Short exposures of the families that time them by a code.
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class TimedReadoutTest : public ExposureTest {};

constexpr Window kWindow{.x = 10, .y = 20, .width = 300, .height = 50, .binX = 2, .binY = 3};
constexpr double kSeconds = 0.5;

std::unique_ptr<TavoCameraImpl> readyCamera(CAMERA_TYPE type) {
    auto camera = idleCamera(type);
    CameraPeer(*camera).pixelCountX() = 400;
    CameraPeer(*camera).pixelCountY() = 400;
    CameraPeer(*camera).hasShutter() = true; // nobody asks
    return camera;
}

void expectRead(TavoCameraImpl& camera) {
    EXPECT_TRUE(readCCD(camera, kWindow, kSeconds));
    EXPECT_STREQ(camera.getLastError(), kUntouched);
    expectState(camera, {.pending = true, .lockFree = false});
}

void expectFailed(TavoCameraImpl& camera) {
    CameraPeer(camera).readoutPending() = true;
    expectRefused(camera, readCCD(camera, kWindow, kSeconds), "Failed to read CCD");
    expectState(camera, {});
}

Bytes basinPayload(bool preview = false) {
    const std::uint8_t flag = preview ? 1 : 0;
    return {59, 2, 3, 11, 0, 21, 0, 0x37, 0x01, 71, 0, flag, 3};
}

Bytes ridgePayload(std::uint8_t flags = 0) {
    return {0xF4, 0x01, 2, 0, 3, 0, 10, 0, 20, 0, 0x2C, 0x01, 50, 0, 0x43, flags};
}

Bytes lumenPayload(std::uint8_t flags = 0) {
    return {0x01, 0xF4, 0, 2, 0, 3, 0, 10, 0, 20, 0x01, 0x2C, 0, 50, flags, 3};
}

Rows ridgeStart() {
    return together(
        {commandValue(RIDGE_CAMERA, 2, 0), command(RIDGE_CAMERA, 4), command(RIDGE_CAMERA, 5)});
}

TEST_F(TimedReadoutTest, Basin) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse({command(BASIN_CAMERA, 6, basinPayload()), {pause(500000)}});
    expectRead(*camera);
    EXPECT_EQ(CameraPeer(*camera).readWidth(), 0u);
}

TEST_F(TimedReadoutTest, BasinInPreview) {
    const auto camera = readyCamera(BASIN_CAMERA);
    camera->setPreviewMode(true);
    converse({command(BASIN_CAMERA, 6, basinPayload(true)), {pause(500000)}});
    expectRead(*camera);
}

TEST_F(TimedReadoutTest, BasinWaitsThoughItsRequestFailed) {
    const auto camera = readyCamera(BASIN_CAMERA);
    converse({refused(command(BASIN_CAMERA, 6, basinPayload())), {pause(500000)}});
    expectFailed(*camera);
}

struct RidgeCase {
    bool preview, dark;
    std::uint8_t flags;
};

TEST_F(TimedReadoutTest, RidgeInEveryMode) {
    for (const RidgeCase& each : {RidgeCase{false, false, 0x00}, RidgeCase{true, false, 0x01},
                                  RidgeCase{false, true, 0x10}, RidgeCase{true, true, 0x11}}) {
        SCOPED_TRACE(int{each.flags});
        const auto camera = readyCamera(RIDGE_CAMERA);
        camera->setPreviewMode(each.preview);
        camera->setDarkFrameMode(each.dark);
        converse({parallelTimeout(30000),
                  ridgeStart(),
                  command(RIDGE_CAMERA, 6, ridgePayload(each.flags)),
                  {pause(500000)}});
        expectRead(*camera);
        EXPECT_EQ(CameraPeer(*camera).readWidth(), 0u);
    }
}

TEST_F(TimedReadoutTest, RidgeWithAllFlags) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    camera->setPreviewMode(true);
    camera->setDarkFrameMode(true);
    converse(
        {parallelTimeout(30000),
         ridgeStart(),
         command(RIDGE_CAMERA, 6, {0x10, 0x27, 1, 0, 1, 0, 0, 0, 0, 0, 4, 0, 2, 0, 0x43, 0x15}),
         {pause(10000)}});
    EXPECT_TRUE(readCCD(*camera, {}, 0.01));
}

TEST_F(TimedReadoutTest, RidgeSendsNothingAfterAFailedCommand) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    converse({parallelTimeout(30000), commandValue(RIDGE_CAMERA, 2, 0),
              refused(command(RIDGE_CAMERA, 4))});
    expectFailed(*camera);
}

TEST_F(TimedReadoutTest, RidgeWaitsThoughItsRequestFailed) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    converse({parallelTimeout(30000),
              ridgeStart(),
              endingIn(command(RIDGE_CAMERA, 6, ridgePayload()), LIBUSB_ERROR_TIMEOUT),
              {pause(500000)}});
    expectFailed(*camera);
}

TEST_F(TimedReadoutTest, RidgeGoesOnWithTheShortTimeout) {
    const auto camera = readyCamera(RIDGE_CAMERA);
    converse({refused(parallelTimeout(30000)),
              ridgeStart(),
              command(RIDGE_CAMERA, 6, ridgePayload()),
              {pause(500000)}});
    CapturedTrace trace;
    expectRead(*camera);
    EXPECT_TRUE(trace.contains("    set timeout 30000 failed"));
}

void expectHeronStored(TavoCameraImpl& camera) {
    CameraPeer peer(camera);
    EXPECT_EQ(peer.readX(), kWindow.x);
    EXPECT_EQ(peer.readY(), kWindow.y);
    EXPECT_EQ(peer.readWidth(), kWindow.width);
    EXPECT_EQ(peer.readHeight(), kWindow.height);
    EXPECT_EQ(peer.readXBin(), kWindow.binX);
    EXPECT_EQ(peer.readYBin(), kWindow.binY);
}

TEST_F(TimedReadoutTest, Heron) {
    const auto camera = readyCamera(HERON_CAMERA);
    CameraPeer(*camera).guideRelayState() = 0x9;
    CameraPeer(*camera).startOption() = true;
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              spi(2, 0x7A9),
              spi(5, 1464),
              {pause(499712)}});
    CapturedTrace trace;
    expectRead(*camera);
    EXPECT_TRUE(trace.contains("    expCode 1464"));
    expectHeronStored(*camera);
}

TEST_F(TimedReadoutTest, HeronForgivesTheBinningWrites) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({refused(parallelTimeout(30000)),
              refused(spi(8, 0x210)),
              refused(spi(8, 0x210)),
              spi(2, 0x7A0),
              spi(5, 1464),
              {pause(499712)}});
    expectRead(*camera);
}

TEST_F(TimedReadoutTest, HeronStoresAndWaitsThoughItsThirdWriteFailed) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              refused(spi(2, 0x7A0)),
              {pause(499712)}});
    expectFailed(*camera);
    expectHeronStored(*camera);
}

TEST_F(TimedReadoutTest, HeronFailsByItsLastWrite) {
    const auto camera = readyCamera(HERON_CAMERA);
    converse({parallelTimeout(30000),
              spi(8, 0x210),
              spi(8, 0x210),
              spi(2, 0x7A0),
              refused(spi(5, 1464)),
              {pause(499712)}});
    expectFailed(*camera);
}

TEST_F(TimedReadoutTest, LumenInEveryMode) {
    for (const std::uint8_t flags : Bytes{0x00, 0x01, 0x20, 0x21}) {
        SCOPED_TRACE(int{flags});
        const auto camera = readyCamera(LUMEN_CAMERA);
        camera->setPreviewMode((flags & 0x01) != 0);
        camera->set8BitMode((flags & 0x20) != 0);
        converse({command(LUMEN_CAMERA, 6, lumenPayload(flags)), {pause(500000)}});
        CapturedTrace trace;
        expectRead(*camera);
        EXPECT_TRUE(trace.contains("    exp code, ms, delay: 500, 0, 0.5"));
        EXPECT_EQ(CameraPeer(*camera).readWidth(), 0u);
    }
}

TEST_F(TimedReadoutTest, LumenWithAllFlags) {
    const auto camera = readyCamera(LUMEN_CAMERA);
    camera->setPreviewMode(true);
    camera->set8BitMode(true);
    converse({command(LUMEN_CAMERA, 6, {0x27, 0x10, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4, 0, 2, 0x25, 3}),
              {pause(10000)}});
    CapturedTrace trace;
    EXPECT_TRUE(readCCD(*camera, {}, 0.01));
    EXPECT_TRUE(trace.contains("    exp code, ms, delay: 10000, 1, 0.01"));
}

TEST_F(TimedReadoutTest, LumenWaitsThoughItsRequestFailed) {
    const auto camera = readyCamera(LUMEN_CAMERA);
    converse(
        {endingIn(command(LUMEN_CAMERA, 6, lumenPayload()), LIBUSB_ERROR_IO), {pause(500000)}});
    expectFailed(*camera);
}

} // namespace
} // namespace tavo::test::exposure
