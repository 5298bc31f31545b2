// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Cameras that are unplugged, and plugged in again after a while.
#include "fault_test.h"

#include <cstring>

namespace {

constexpr const char* kNoDevice = "LIBUSB_ERROR_NO_DEVICE";

class Unplugged : public FaultTest {
protected:
    // A question to a camera that has nothing to do; registers that do not answer read as 0 kelvin.
    bool answers() {
        float celsius = 0;
        switch (type) {
        case HERON_CAMERA: return camera->setGuideRelays(0);
        case GLINT_CAMERA: return camera->getTemperatureSensorStatus(0, &celsius) && celsius > -273;
        case BASIN_CAMERA:
        case RIDGE_CAMERA:
        case LUMEN_CAMERA: break;
        }
        return camera->getTemperatureSensorStatus(1, nullptr);
    }

    const char* idleFailure() const {
        switch (type) {
        case HERON_CAMERA: return "Failed to set guide relays";
        case GLINT_CAMERA: return "No error";
        case BASIN_CAMERA:
        case RIDGE_CAMERA:
        case LUMEN_CAMERA: break;
        }
        return "Failed to read temperature sensor status";
    }

    // What a program meets that goes on with a camera that is gone.
    void expectGone() {
        unsigned short pixel = 0;
        if (type != GLINT_CAMERA) {
            expectRefused(camera->startExposure(false), "Failed to start exposure");
            expectRefused(camera->readCCD(0, 0, 8, 8, 1, 1), "Operation out of sequence");
            expectRefused(camera->readCCD(0, 0, 8, 8, 1, 1, 0.01), "Failed to read CCD");
            expectRefused(camera->getImage(&pixel, 1), "Operation out of sequence");
        } else {
            std::vector<unsigned short> pixels(8 * 8);
            EXPECT_TRUE(camera->readCCD(0, 0, 8, 8, 1, 1, 0.01));
            expectRefused(camera->getImage(pixels.data(), 8 * 8), "Failed to get image");
        }
        expectLockFree();
        EXPECT_TRUE(camera->getCapabilities(nullptr, nullptr, &caps));
        expectNotOpenedAgain();
    }

    // An object belongs to the camera as it was plugged in then.
    void expectNotOpenedAgain() {
        camera->close();
        const TraceCapture trace;
        expectRefused(camera->open(), "Failed to open device");
        EXPECT_EQ(trace.count("libusb_open() -> LIBUSB_ERROR_NO_DEVICE"), 1u);
        expectLockFree();
    }

    void takeFrameAfterReturn() {
        find();
        openDespiteFaults();
        takeFrameDespiteFaults();
    }
};

} // namespace

TEST_F(Unplugged, InIdle) {
    openDespiteFaults();
    const TraceCapture trace;
    int tries = 0;
    while (tries < 20000 && answers())
        ++tries;
    ASSERT_LT(tries, 20000) << "it was never unplugged";
    EXPECT_STREQ(camera->getLastError(), idleFailure());
    if (type != GLINT_CAMERA) {
        EXPECT_GE(trace.count(kNoDevice), 1u);
    }
    expectGone();
    takeFrameAfterReturn();
}

// Small requests let nearly every one be part of an image.
TEST_F(Unplugged, InAReadout) {
    openDespiteFaults();
    {
        const TraceCapture trace;
        int tries = 0;
        while (tries < kMostTries && takeFrame(Requests::many))
            ++tries;
        ASSERT_LT(tries, kMostTries) << "it was never unplugged";
        EXPECT_STREQ(camera->getLastError(), "Failed to get image");
        EXPECT_GE(trace.count("libusb_bulk_transfer -> LIBUSB_ERROR_NO_DEVICE"), 1u);
    }
    expectGone();
    takeFrameAfterReturn();
}

TEST_F(Unplugged, BetweenStartAndReadout) {
    openDespiteFaults();
    bool isRead = true;
    for (int tries = 0; tries < 20000 && isRead; ++tries) {
        if (!camera->startExposure(false))
            FAIL() << "unplugged too soon: " << camera->getLastError();
        while (camera->getTemperatureSensorStatus(1, nullptr))
            ;
        isRead = camera->readCCD(0, 0, 8, 8, 1, 1);
    }
    expectRefused(isRead, "Failed to read CCD");
    expectGone();
    takeFrameAfterReturn();
}

TEST_F(Unplugged, WhileItOpens) {
    {
        const TraceCapture trace;
        EXPECT_FALSE(camera->open());
        EXPECT_GE(trace.count(kNoDevice), 1u);
        // A camera of the family that is tried again is not found then.
        EXPECT_STREQ(camera->getLastError(), trace.count("open 00 - retry") > 0
                                                 ? "Failed to open device"
                                                 : "Failed to initialize device");
    }
    expectRefused(camera->getCapabilities(nullptr, nullptr, &caps), "Device is not opened");
    expectLockFree();
    expectNotOpenedAgain();
    takeFrameAfterReturn();
}

// Kept so: registers are written and read blindly.
TEST_F(Unplugged, GlintOpensAllTheSame) {
    ASSERT_TRUE(camera->open()) << camera->getLastError();
    ASSERT_TRUE(camera->getCapabilities(nullptr, &type, &caps));
    EXPECT_EQ(camera->getSerialNumber(), 0u);
    EXPECT_EQ(camera->getVersionMajor(), 0u);
    expectGone();
    takeFrameAfterReturn();
}
