// SPDX-License-Identifier: LGPL-2.1-or-later
#include "camera_test.h"

#include <cmath>
#include <unistd.h>

CameraPointer CameraTest::camera;
TavoCapabilities CameraTest::caps;

namespace {
constexpr useconds_t kPollPause = 50000;
constexpr int kMostPolls = 1200;
} // namespace

void CameraTest::SetUpTestSuite() {
    TavoCamera* found = nullptr;
    ASSERT_EQ(TavoCamera::list(&found, 1), 1);
    camera.reset(found);
    ASSERT_TRUE(camera->open()) << camera->getLastError();
    ASSERT_TRUE(camera->setParam(MAX_PACKET_SIZE, 1 << 20));
    ASSERT_TRUE(camera->getCapabilities(nullptr, nullptr, &caps));
}

void CameraTest::TearDownTestSuite() {
    camera.reset();
}

Window CameraTest::fullFrame(unsigned bin) {
    return {0, 0, caps.pixelCountX, caps.pixelCountY, bin};
}

Frame CameraTest::fetch(const Window& window) {
    Frame frame;
    frame.width = camera->imageWidth(window.width, window.bin);
    frame.height = camera->imageHeight(window.height, window.bin);
    frame.pixels.resize(std::size_t{frame.width} * frame.height);
    EXPECT_TRUE(camera->getImage(frame.pixels.data(), static_cast<unsigned>(frame.pixels.size())))
        << camera->getLastError();
    return frame;
}

Frame CameraTest::exposeLong(double seconds, const Window& window) {
    EXPECT_TRUE(camera->startExposure(false)) << camera->getLastError();
    usleep(camera->delay(seconds));
    EXPECT_TRUE(
        camera->readCCD(window.x, window.y, window.width, window.height, window.bin, window.bin))
        << camera->getLastError();
    return fetch(window);
}

Frame CameraTest::exposeTimed(double seconds, const Window& window) {
    EXPECT_TRUE(camera->readCCD(window.x, window.y, window.width, window.height, window.bin,
                                window.bin, seconds))
        << camera->getLastError();
    return fetch(window);
}

void CameraTest::selectFilter(unsigned position) {
    ASSERT_TRUE(camera->setFilter(position)) << camera->getLastError();
    bool moving = true;
    unsigned current = 0;
    for (int poll = 0; poll < kMostPolls && (moving || current != position); ++poll) {
        usleep(kPollPause);
        ASSERT_TRUE(camera->getFilterWheelStatus(nullptr, &moving, &current, nullptr));
    }
    ASSERT_EQ(current, position);
}

void CameraTest::waitForTemperature(float celsius) {
    float now = 1000;
    for (int poll = 0; poll < kMostPolls && std::abs(now - celsius) > 0.5f; ++poll) {
        usleep(kPollPause);
        ASSERT_TRUE(camera->getTemperatureSensorStatus(1, &now)) << camera->getLastError();
    }
    ASSERT_NEAR(now, celsius, 0.5);
}
