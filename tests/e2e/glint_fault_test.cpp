// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A family that is told and asked everything by registers, and does not look whether it got
// through.
#include "fault_test.h"

#include <cmath>

namespace {
using GlintFault = FaultTest;
} // namespace

TEST_F(GlintFault, RegistersThatDoNotAnswerReadAsNothing) {
    EXPECT_TRUE(camera->open()) << camera->getLastError();
    openDespiteFaults();
    EXPECT_EQ(camera->getVersionMajor(), 0u);
    EXPECT_EQ(camera->getVersionMinor(), 0u);
    EXPECT_EQ(camera->getSerialNumber(), 0u);
    float celsius = 0;
    EXPECT_TRUE(camera->getTemperatureSensorStatus(0, &celsius));
    EXPECT_FLOAT_EQ(celsius, -273.15f);
    EXPECT_STREQ(camera->getLastError(), "No error");
    takeFrameDespiteFaults();
}

TEST_F(GlintFault, SpoiltRegistersAreTakenAsTheyAre) {
    openDespiteFaults();
    float first = 0, celsius = 0;
    ASSERT_TRUE(camera->getTemperatureSensorStatus(0, &first));
    bool isSpoilt = false;
    for (int tries = 0; tries < kMostTries && !isSpoilt; ++tries) {
        ASSERT_TRUE(camera->getTemperatureSensorStatus(0, &celsius));
        isSpoilt = std::abs(celsius - first) > 5;
    }
    EXPECT_TRUE(isSpoilt) << "no fault has struck";
    EXPECT_STREQ(camera->getLastError(), "No error");
    takeFrameDespiteFaults();
}

// The trigger is lost, so that no frame comes; the request is not told.
TEST_F(GlintFault, LostTriggerIsSeenByTheImageThatDoesNotCome) {
    openDespiteFaults();
    EXPECT_STREQ(camera->getLastError(), "No error");
    failToFetch();
    takeFrameDespiteFaults();
}

// This family keeps its interface's setting, so nothing clears a halted endpoint but pulling the
// plug.
TEST_F(GlintFault, StallLastsWhileTheCameraIsPluggedIn) {
    openDespiteFaults();
    {
        const TraceCapture trace;
        failToFetch();
        EXPECT_EQ(trace.count("libusb_bulk_transfer -> LIBUSB_ERROR_PIPE"), 1u);
    }
    for (int tries = 0; tries < 3; ++tries) {
        camera->close();
        openDespiteFaults();
        EXPECT_FALSE(takeFrame(Requests::few));
        expectLockFree();
    }
}
