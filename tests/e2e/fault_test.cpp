// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fault_test.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

namespace {

constexpr double kMoment = 0.05; // seconds
constexpr long kSmallRequest = 512, kLargeRequest = 1 << 20;
constexpr std::chrono::seconds kLongestHold{30};

bool isAlike(const TavoCapabilities& one, const TavoCapabilities& other) {
    return one.pixelCountX == other.pixelCountX && one.pixelCountY == other.pixelCountY &&
           one.maxBinX == other.maxBinX && one.maxBinY == other.maxBinY;
}

} // namespace

void FaultTest::SetUp() {
    TavoHostBulkTimeout = kTimeout;
    find();
}

void FaultTest::find() {
    camera.reset();
    for (int tries = 0; tries < kMostTries; ++tries) {
        TavoCamera* found = nullptr;
        if (TavoCamera::list(&found, 1) == 1) {
            camera.reset(found);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    FAIL() << "no camera is plugged in";
}

void FaultTest::openDespiteFaults() {
    for (int tries = 0; tries < kMostTries; ++tries) {
        if (camera->open()) {
            ASSERT_TRUE(camera->getCapabilities(nullptr, &type, &caps));
            if (type == HERON_CAMERA) {
                camera->setParam(QUICKER_START_EXPOSURE_DELAY, 0);
                camera->setParam(QUICKER_READ_CCD_DELAY, 0);
            }
            return;
        }
        ASSERT_STREQ(camera->getLastError(), "Failed to initialize device");
        expectLockFree();
    }
    FAIL() << "the camera never opened";
}

void FaultTest::openUnspoilt() {
    openDespiteFaults();
    for (int tries = 0; tries < kMostTries; ++tries) {
        const TavoCapabilities before = caps;
        camera->close();
        openDespiteFaults();
        if (HasFatalFailure() || isAlike(caps, before))
            return;
    }
    FAIL() << "the camera never described itself twice alike";
}

bool FaultTest::takeFrame(Requests requests) {
    camera->setParam(MAX_PACKET_SIZE, requests == Requests::many ? kSmallRequest : kLargeRequest);
    frame.width = caps.pixelCountX;
    frame.height = caps.pixelCountY;
    frame.pixels.assign(std::size_t{frame.width} * frame.height, 0);
    if (!camera->readCCD(0, 0, frame.width, frame.height, 1, 1, kMoment)) {
        EXPECT_STREQ(camera->getLastError(), "Failed to read CCD");
        return false;
    }
    if (camera->getImage(frame.pixels.data(), static_cast<unsigned>(frame.pixels.size())))
        return true;
    EXPECT_STREQ(camera->getLastError(), "Failed to get image");
    return false;
}

void FaultTest::failToFetch() {
    for (int tries = 0; tries < kMostTries; ++tries)
        if (!takeFrame(Requests::many) &&
            std::strcmp(camera->getLastError(), "Failed to get image") == 0) {
            expectLockFree();
            return;
        }
    FAIL() << "every image arrived: no fault has struck";
}

void FaultTest::takeFrameDespiteFaults() {
    for (int tries = 0; tries < kMostTries; ++tries)
        if (takeFrame(Requests::few)) {
            // The level of the electronics, which no lost or shifted transfer leaves as it is.
            EXPECT_NEAR(background(frame), 1100.0, 300.0);
            return;
        }
    FAIL() << "no image arrived any more";
}

// Aborting takes the lock, and tells most families nothing.
void FaultTest::expectLockFree() {
    std::promise<void> finished;
    auto done = finished.get_future();
    std::thread taker([&] {
        camera->abortExposure();
        finished.set_value();
    });
    if (done.wait_for(kLongestHold) != std::future_status::ready) {
        std::fputs("the camera's lock stays held\n", stdout);
        std::fflush(stdout);
        std::_Exit(EXIT_FAILURE);
    }
    taker.join();
}

void FaultTest::expectRefused(bool done, const char* text) {
    EXPECT_FALSE(done);
    EXPECT_STREQ(camera->getLastError(), text);
}
