// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure_clock.h"

#include <gtest/gtest.h>

using tavocam::timedExposure;

TEST(ExposureClock, HeronCountsInItsClocksUnits) {
    EXPECT_NEAR(timedExposure(HERON_CAMERA, 1.0), 0.999765, 1e-6);
    EXPECT_NEAR(timedExposure(HERON_CAMERA, 1.398), 1.39776, 1e-9);
    EXPECT_NEAR(timedExposure(HERON_CAMERA, 0.0001), 0.000341333, 1e-9);
}

TEST(ExposureClock, BasinCountsInMillisecondsThenHundredths) {
    EXPECT_NEAR(timedExposure(BASIN_CAMERA, 0.005), 0.005, 1e-12);
    EXPECT_NEAR(timedExposure(BASIN_CAMERA, 0.0096), 0.01, 1e-12);
    EXPECT_NEAR(timedExposure(BASIN_CAMERA, 0.5), 0.5, 1e-12);
    EXPECT_NEAR(timedExposure(BASIN_CAMERA, 0.126), 0.13, 1e-12);
    EXPECT_NEAR(timedExposure(BASIN_CAMERA, 2.46), 2.46, 1e-12);
}

TEST(ExposureClock, RidgeAndLumenCountInMicrosecondsThenMilliseconds) {
    for (const CAMERA_TYPE type : {RIDGE_CAMERA, LUMEN_CAMERA}) {
        EXPECT_NEAR(timedExposure(type, 0.0123456), 0.012346, 1e-12);
        EXPECT_NEAR(timedExposure(type, 0.0504), 0.05, 1e-12);
        EXPECT_NEAR(timedExposure(type, 1.2345), 1.235, 1e-12);
        EXPECT_NEAR(timedExposure(type, 3.0), 3.0, 1e-12);
    }
}

TEST(ExposureClock, GlintTakesTheDurationAsItIs) {
    EXPECT_EQ(timedExposure(GLINT_CAMERA, 0.12345), 0.12345);
}
