// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Single transfers that go wrong: in an image, in a command, in the bring-up.
#include "fault_test.h"

#include <cmath>

namespace {

using FetchFault = FaultTest;
using OpenFault = FaultTest;

// Pixels that no noise explains: stars, which are the same each time, and spoilt bytes.
unsigned outliers(const Frame& frame) {
    constexpr double reach = 2500; // digital units
    const double level = background(frame);
    unsigned count = 0;
    for (const unsigned short pixel : frame.pixels)
        count += std::abs(pixel - level) > reach;
    return count;
}

} // namespace

// A transfer that is not answered, answered too late, or whose rest is lost.
TEST_F(FetchFault, TimesOutAndTheNextImageArrives) {
    openDespiteFaults();
    {
        const TraceCapture trace;
        failToFetch();
        EXPECT_EQ(trace.count("libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT"), 1u);
        EXPECT_EQ(trace.count("<- TavoCameraImpl::getImage 0"), 1u);
    }
    unsigned short pixel = 0;
    expectRefused(camera->getImage(&pixel, 1), "Operation out of sequence");
    takeFrameDespiteFaults();
}

// The driver does not clear a halted endpoint: choosing the interface's setting does, in open.
TEST_F(FetchFault, StallLastsUntilTheCameraIsOpenedAgain) {
    openDespiteFaults();
    {
        const TraceCapture trace;
        failToFetch();
        EXPECT_GE(trace.count("libusb_bulk_transfer -> LIBUSB_ERROR_PIPE"), 1u);
    }
    for (int tries = 0; tries < 3; ++tries) {
        EXPECT_FALSE(takeFrame(Requests::few));
        expectLockFree();
    }
    camera->close();
    openDespiteFaults();
    takeFrameDespiteFaults();
}

// Images carry no checksum: what arrives is delivered.
TEST_F(FetchFault, CorruptedPixelsAreDelivered) {
    openUnspoilt();
    ASSERT_TRUE(takeFrame(Requests::few));
    const unsigned usual = outliers(frame);
    unsigned most = usual;
    constexpr unsigned kSpoilt = 6; // more than noise adds
    for (int tries = 0; tries < kMostTries && most < usual + kSpoilt; ++tries) {
        ASSERT_TRUE(takeFrame(Requests::many));
        most = std::max(most, outliers(frame));
    }
    EXPECT_GE(most, usual + kSpoilt) << "no fault has struck";
    takeFrameDespiteFaults();
}

// Each failure frees the lock; the camera opens once the faults let it.
TEST_F(OpenFault, IsToldAndSurvived) {
    const char* expected = "Failed to initialize device";
    bool hasFailed = false;
    for (int tries = 0; tries < kMostTries && !hasFailed; ++tries) {
        hasFailed = !camera->open();
        if (!hasFailed)
            camera->close();
    }
    ASSERT_TRUE(hasFailed) << "no fault has struck";
    EXPECT_STREQ(camera->getLastError(), expected);
    expectRefused(camera->getCapabilities(nullptr, nullptr, &caps), "Device is not opened");
    expectLockFree();
    openUnspoilt();
    takeFrameDespiteFaults();
}

// Faults that never end.
TEST_F(OpenFault, FailsAsOftenAsItIsTried) {
    for (int tries = 0; tries < 2; ++tries) {
        const TraceCapture trace;
        expectRefused(camera->open(), "Failed to initialize device");
        EXPECT_EQ(trace.count("libusb_claim_interface() -> LIBUSB_SUCCESS"), 1u);
        EXPECT_EQ(trace.count("failed to initialize device!!!"), 1u);
        expectLockFree();
    }
    expectRefused(camera->startExposure(false), "Failed to start exposure");
    expectRefused(camera->getTemperatureSensorStatus(0, nullptr),
                  "Failed to read temperature sensor status");
    expectLockFree();
}

// Whatever descriptions and answers turn into, the program lives and the lock is free.
TEST_F(OpenFault, SpoiltAnswersAreSurvived) {
    unsigned refused = 0, opened = 0;
    for (int tries = 0; tries < kMostTries && (refused == 0 || opened < 5); ++tries) {
        const bool isOpen = camera->open();
        ++(isOpen ? opened : refused);
        if (!isOpen) {
            EXPECT_STREQ(camera->getLastError(), "Failed to initialize device");
        }
        expectLockFree();
        camera->close();
    }
    EXPECT_GT(refused, 0u) << "no fault has struck";
    openUnspoilt();
    takeFrameDespiteFaults();
}
