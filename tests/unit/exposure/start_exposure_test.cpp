// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/exposure_test.h"

namespace tavo::test::exposure {
namespace {

class StartExposureTest : public ExposureTest {};

constexpr const char* kFailed = "Failed to start exposure";

// An exposure already runs and an image waits: both are forgotten, whatever comes of the start.
std::unique_ptr<TavoCameraImpl> restartedCamera(CAMERA_TYPE type) {
    auto camera = exposingCamera(type);
    CameraPeer(*camera).readoutPending() = true;
    return camera;
}

void expectStarted(TavoCameraImpl& camera, bool option = false) {
    EXPECT_TRUE(camera.startExposure(option));
    EXPECT_STREQ(camera.getLastError(), kUntouched);
    EXPECT_EQ(CameraPeer(camera).startOption(), option);
    expectState(camera, {.exposing = true});
}

void expectFailed(TavoCameraImpl& camera, bool option = false) {
    expectRefused(camera, camera.startExposure(option), kFailed);
    EXPECT_EQ(CameraPeer(camera).startOption(), option);
    expectState(camera, {});
}

Rows startCommands(CAMERA_TYPE type) {
    return together({commandValue(type, 2, 0), command(type, 4), command(type, 5)});
}

TEST_F(StartExposureTest, Basin) {
    const auto camera = restartedCamera(BASIN_CAMERA);
    converse({startCommands(BASIN_CAMERA)});
    expectStarted(*camera, true);
}

TEST_F(StartExposureTest, BasinHasNoShutterToOpen) {
    const auto camera = restartedCamera(BASIN_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({startCommands(BASIN_CAMERA)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, BasinStopsAtTheFirstFailure) {
    const auto camera = restartedCamera(BASIN_CAMERA);
    converse({commandValue(BASIN_CAMERA, 2, 0),
              endingIn(command(BASIN_CAMERA, 4), LIBUSB_ERROR_TIMEOUT)});
    expectFailed(*camera);
}

TEST_F(StartExposureTest, RidgeWithoutShutter) {
    const auto camera = restartedCamera(RIDGE_CAMERA);
    CameraPeer(*camera).darkFrameMode() = true;
    converse({startCommands(RIDGE_CAMERA)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, RidgeOpensItsShutter) {
    const auto camera = restartedCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({startCommands(RIDGE_CAMERA), {pause(500000)}, commandValue(RIDGE_CAMERA, 9, 1)});
    expectStarted(*camera, true);
}

TEST_F(StartExposureTest, RidgeKeepsItsShutterClosedForADarkFrame) {
    const auto camera = restartedCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    CameraPeer(*camera).darkFrameMode() = true;
    converse({startCommands(RIDGE_CAMERA), {pause(500000)}, commandValue(RIDGE_CAMERA, 9, 0)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, RidgeShutterThatDoesNotMoveFailsTheStart) {
    const auto camera = restartedCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({startCommands(RIDGE_CAMERA),
              {pause(500000)},
              endingIn(commandValue(RIDGE_CAMERA, 9, 1), LIBUSB_ERROR_PIPE)});
    expectFailed(*camera);
}

TEST_F(StartExposureTest, RidgeDoesNotMoveTheShutterAfterAFailedCommand) {
    const auto camera = restartedCamera(RIDGE_CAMERA);
    CameraPeer(*camera).hasShutter() = true;
    converse({commandValue(RIDGE_CAMERA, 2, 0), command(RIDGE_CAMERA, 4),
              refused(command(RIDGE_CAMERA, 5))});
    expectFailed(*camera, true);
}

TEST_F(StartExposureTest, Heron) {
    const auto camera = restartedCamera(HERON_CAMERA);
    CameraPeer(*camera).guideRelayState() = 0x5;
    converse({spi(2, 0x405), spi(5, 0), {pause(200000)}, spi(2, 0x205), spi(5, 0)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, HeronWithTheOptionAndAnotherPause) {
    const auto camera = restartedCamera(HERON_CAMERA);
    camera->setParam(QUICKER_START_EXPOSURE_DELAY, 1234);
    CameraPeer(*camera).guideRelayState() = 0xA;
    converse({spi(2, 0x42A), spi(5, 0), {pause(1234)}, spi(2, 0x20A), spi(5, 0)});
    expectStarted(*camera, true);
}

TEST_F(StartExposureTest, HeronGoesOnAfterItsFirstWriteFailed) {
    const auto camera = restartedCamera(HERON_CAMERA);
    converse({refused(spi(2, 0x400)), {pause(200000)}, spi(2, 0x200), spi(5, 0)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, HeronIgnoresItsSecondWrite) {
    const auto camera = restartedCamera(HERON_CAMERA);
    converse({spi(2, 0x400), refused(spi(5, 0)), {pause(200000)}, spi(2, 0x200), spi(5, 0)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, HeronStopsAtItsThirdWrite) {
    const auto camera = restartedCamera(HERON_CAMERA);
    converse({spi(2, 0x400), spi(5, 0), {pause(200000)}, refused(spi(2, 0x200))});
    expectFailed(*camera);
}

TEST_F(StartExposureTest, HeronFailsByItsLastWrite) {
    const auto camera = restartedCamera(HERON_CAMERA);
    converse({spi(2, 0x400),
              spi(5, 0),
              {pause(200000)},
              spi(2, 0x200),
              endingIn(spi(5, 0), LIBUSB_ERROR_TIMEOUT)});
    expectFailed(*camera);
}

TEST_F(StartExposureTest, Lumen) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    converse({commandValue(LUMEN_CAMERA, 2, 0), command(LUMEN_CAMERA, 4), lumenPing(),
              command(LUMEN_CAMERA, 5)});
    expectStarted(*camera, true);
}

TEST_F(StartExposureTest, LumenWaitsForThePing) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    converse({commandValue(LUMEN_CAMERA, 2, 0),
              command(LUMEN_CAMERA, 4),
              kernelPing({0x00, 0x7A}),
              {pause(25000)},
              kernelPing(),
              applicationPing({0x00, 0x7B}),
              {pause(25000)},
              refused(kernelPing()),
              {pause(25000)},
              lumenPing(),
              command(LUMEN_CAMERA, 5)});
    expectStarted(*camera);
}

TEST_F(StartExposureTest, LumenDoesNotPingAfterAFailedCommand) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    converse({commandValue(LUMEN_CAMERA, 2, 0), refused(command(LUMEN_CAMERA, 4))});
    expectFailed(*camera);
}

TEST_F(StartExposureTest, LumenFailsByItsLastCommand) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    converse({commandValue(LUMEN_CAMERA, 2, 0), command(LUMEN_CAMERA, 4), lumenPing(),
              endingIn(command(LUMEN_CAMERA, 5), LIBUSB_ERROR_IO)});
    expectFailed(*camera);
}

constexpr int kPings = 401;

Rows unansweredPings() {
    Rows rows;
    for (int i = 1; i <= kPings; ++i) {
        const Rows ping = kernelPing({0, 0});
        rows.insert(rows.end(), ping.begin(), ping.end());
        if (i < kPings)
            rows.push_back(pause(25000));
    }
    return rows;
}

TEST_F(StartExposureTest, LumenGivesUpAtThe401stPing) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    converse({commandValue(LUMEN_CAMERA, 2, 0), command(LUMEN_CAMERA, 4), unansweredPings()});
    CapturedTrace trace;
    expectFailed(*camera);
    EXPECT_TRUE(trace.contains("    Waited too long for ping"));
}

TEST_F(StartExposureTest, LumenIsContentWithThe401stPing) {
    const auto camera = restartedCamera(LUMEN_CAMERA);
    Rows pings = unansweredPings();
    pings.resize(pings.size() - kernelPing().size());
    converse({commandValue(LUMEN_CAMERA, 2, 0), command(LUMEN_CAMERA, 4), pings, lumenPing(),
              command(LUMEN_CAMERA, 5)});
    CapturedTrace trace;
    expectStarted(*camera);
    EXPECT_FALSE(trace.contains("    Waited too long for ping"));
}

TEST_F(StartExposureTest, GlintHasNoLongExposures) {
    const auto camera = restartedCamera(GLINT_CAMERA);
    converse({});
    CapturedTrace trace;
    expectFailed(*camera, true);
    EXPECT_TRUE(trace.contains("    long exposures are unsupported with TAVO GLINT"));
}

TEST_F(StartExposureTest, UnknownFamilyHasNone) {
    const auto camera = restartedCamera(kUnknownFamily);
    converse({});
    CapturedTrace trace;
    expectFailed(*camera);
    EXPECT_FALSE(trace.contains("    long exposures are unsupported with TAVO GLINT"));
}

} // namespace
} // namespace tavo::test::exposure
