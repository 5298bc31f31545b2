// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure_plan.h"

#include <limits>

#include <gtest/gtest.h>

#include "failure.h"
#include "fake_camera.h"

using namespace tavocam;

namespace {

class Plan : public testing::Test {
protected:
    Plan() { request.seconds = 1; }

    ExposurePlan plan() { return planExposure(state->type, state->capabilities, request); }

    // The refusal's text, empty when there is none.
    std::string refusal() {
        try {
            plan();
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitCode, kUsage);
            return failure.what();
        }
        return "";
    }

    void expectRefusal(const std::string& part) {
        const std::string text = refusal();
        EXPECT_NE(text.find(part), std::string::npos) << "\"" << text << "\" lacks " << part;
    }

    std::shared_ptr<FakeState> state = ridgeState();
    ExposeRequest request;
};

} // namespace

TEST_F(Plan, TimesByTheCameraUpToItsLimit) {
    request.seconds = 3;
    EXPECT_TRUE(plan().timed);
    request.seconds = 3.001;
    EXPECT_FALSE(plan().timed);
}

TEST_F(Plan, RefusesExposuresOutsideTheCamerasRange) {
    for (const double seconds :
         {0.0, -1.0, 0.0009, 86401.0, std::numeric_limits<double>::quiet_NaN(),
          std::numeric_limits<double>::infinity()}) {
        request.seconds = seconds;
        expectRefusal("0.001 s to 86400 s");
    }
    state = glintState();
    request.seconds = 0.51;
    expectRefusal("0.001 s to 0.5 s");
    request.seconds = 0.5;
    EXPECT_EQ(refusal(), "");
}

TEST_F(Plan, ExposesTheWholeSensorByDefault) {
    EXPECT_EQ(plan().window, (Window{0, 0, 64, 48}));
    EXPECT_TRUE(plan().notes.empty());
    request.binning = {3, 3};
    EXPECT_EQ(plan().window, (Window{0, 0, 63, 48}));
}

TEST_F(Plan, RefusesWindowsOutsideTheSensor) {
    for (const Window& window :
         {Window{0, 0, 65, 48}, Window{0, 0, 64, 49}, Window{64, 0, 1, 1}, Window{0, 48, 1, 1},
          Window{4294967295U, 0, 2, 1}, Window{0, 4294967295U, 1, 2}}) {
        request.window = window;
        expectRefusal("X + W may be at most 64 and Y + H at most 48");
    }
    request.window = Window{63, 47, 1, 1};
    EXPECT_EQ(plan().window, (Window{63, 47, 1, 1}));
}

TEST_F(Plan, StaysWithinTheRowsThatCanBeReadFromATallSensor) {
    state->capabilities.pixelCountX = 40;
    EXPECT_EQ(plan().window, (Window{0, 0, 40, 40}));
    ASSERT_EQ(plan().notes.size(), 1U);
    EXPECT_NE(plan().notes[0].find("upper 40 of 48 rows"), std::string::npos);
    request.window = Window{0, 0, 40, 41};
    expectRefusal("Y + H at most 40");
}

TEST_F(Plan, FitsWindowsToWholeBinnedPixelsAndSaysSo) {
    request.window = Window{11, 5, 21, 10};
    request.binning = {2, 3};
    EXPECT_EQ(plan().window, (Window{10, 3, 20, 9}));
    ASSERT_EQ(plan().notes.size(), 1U);
    EXPECT_NE(plan().notes[0].find("10,3,20x9"), std::string::npos);
    request.window = Window{10, 3, 1, 9};
    expectRefusal("at least 2 wide and 3 high");
}

TEST_F(Plan, RefusesBinningThatTheCameraLacks) {
    for (const Binning& binning : {Binning{5, 1}, Binning{1, 4}, Binning{0, 1}, Binning{1, 0}}) {
        request.binning = binning;
        expectRefusal("1x1 to 4x3");
    }
    request.binning = {4, 3};
    EXPECT_EQ(refusal(), "");
    state = glintState();
    request.seconds = 0.1;
    request.binning = {2, 1};
    expectRefusal("same factor both ways");
}

TEST_F(Plan, TakesDarkFramesWithARidgeShutterOnly) {
    request.dark = true;
    EXPECT_TRUE(plan().closeShutter);
    state->capabilities.hasShutter = false;
    expectRefusal("--dark --covered");
    state = basinState();
    state->capabilities.hasShutter = true;
    expectRefusal("--dark --covered");
    request.covered = true;
    EXPECT_FALSE(plan().closeShutter);
    request.dark = false;
    expectRefusal("use it with --dark");
}

TEST_F(Plan, RefusesAFilterWithoutAWheel) {
    request.filter = 0;
    EXPECT_EQ(refusal(), "");
    state->capabilities.hasFilterWheel = false;
    expectRefusal("no filter wheel");
}

TEST_F(Plan, RefusesATemperatureWithoutARegulatedCooler) {
    request.temperature = -10;
    EXPECT_EQ(refusal(), "");
    for (const COOLER_TYPE type :
         {COOLER_NONE, COOLER_ALWAYSON, COOLER_ONOFF, COOLER_SELECTPOWER}) {
        state->capabilities.coolerType = type;
        expectRefusal("cannot be cooled to a chosen temperature");
    }
    state = ridgeState();
    state->type = HERON_CAMERA;
    expectRefusal("cannot be cooled to a chosen temperature");
}

TEST_F(Plan, RefusesTemperaturesThatCannotBeExpressed) {
    for (const double temperature : {-60.1, 50.1, std::numeric_limits<double>::quiet_NaN()}) {
        request.temperature = temperature;
        expectRefusal("-60 to 50");
    }
    request.temperature = -60;
    EXPECT_EQ(refusal(), "");
}
