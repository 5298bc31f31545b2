// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What only the real libusb can show: claims, time-outs, large requests, opening again.
#include "camera_test.h"

#include <algorithm>
#include <cstring>
#include <thread>

class LinkTest : public CameraTest {};

TEST_F(LinkTest, DescribesItself) {
    EXPECT_STREQ(camera->getName(), "Tavo Ridge C");
    EXPECT_NE(camera->getSerialNumber(), 0u);
    EXPECT_EQ(caps.pixelCountX, 1392u);
    EXPECT_EQ(caps.pixelCountY, 1040u);
    EXPECT_DOUBLE_EQ(caps.pixelSizeX, 6.45);
    EXPECT_EQ(caps.coolerType, COOLER_SETPOINT);
    EXPECT_TRUE(caps.hasShutter);
}

TEST_F(LinkTest, EachCallListsTheCameraAnew) {
    TavoCamera* found[4] = {};
    ASSERT_EQ(TavoCamera::list(found, 4), 1);
    const CameraPointer again(found[0]);
    EXPECT_NE(again.get(), camera.get());
    EXPECT_STREQ(again->getName(), camera->getName());
}

// The interface belongs to the first object.
TEST_F(LinkTest, CameraInUseIsRefusedAndUndisturbed) {
    TavoCamera* found = nullptr;
    ASSERT_EQ(TavoCamera::list(&found, 1), 1);
    const CameraPointer second(found);
    EXPECT_FALSE(second->open());
    EXPECT_STREQ(second->getLastError(), "Failed to initialize device");
    EXPECT_FALSE(second->getCapabilities(nullptr, nullptr, &caps));
    const Frame frame = exposeTimed(0.1, {0, 0, 100, 100, 1});
    EXPECT_GT(background(frame), 0.0);
}

TEST_F(LinkTest, ImageArrivesInAnyChunks) {
    for (const long chunk : {512L, 65536L, 1L << 20, 0x1800000L}) {
        ASSERT_TRUE(camera->setParam(MAX_PACKET_SIZE, chunk));
        const auto stars = brightestStars(exposeTimed(0.5, {0, 0, 800, 600, 1}), 50);
        EXPECT_GE(stars.size(), 3u) << "in chunks of " << chunk;
    }
    ASSERT_TRUE(camera->setParam(MAX_PACKET_SIZE, 1 << 20));
}

TEST_F(LinkTest, AbortedExposureLeavesTheCameraReady) {
    ASSERT_TRUE(camera->startExposure(false));
    ASSERT_TRUE(camera->abortExposure());
    unsigned short pixel = 0;
    EXPECT_FALSE(camera->getImage(&pixel, 1));
    EXPECT_STREQ(camera->getLastError(), "Operation out of sequence");
    EXPECT_GT(background(exposeTimed(0.1, {0, 0, 100, 100, 1})), 0.0);
}

TEST_F(LinkTest, ImageFetchedByAnotherThread) {
    ASSERT_TRUE(camera->readCCD(0, 0, 200, 100, 1, 1, 0.1));
    std::vector<unsigned short> pixels(200 * 100);
    bool fetched = false;
    std::thread([&] {
        fetched = camera->getImage(pixels.data(), static_cast<unsigned>(pixels.size()));
    }).join();
    EXPECT_TRUE(fetched) << camera->getLastError();
    float celsius = 0;
    EXPECT_TRUE(camera->getTemperatureSensorStatus(1, &celsius));
}

// More is asked for than the window holds: the link falls silent, libusb times out, and the camera
// goes on working.
TEST_F(LinkTest, TimeoutIsReportedAndSurvived) {
    camera->close();
    TavoHostBulkTimeout = 1000;
    ASSERT_TRUE(camera->open()) << camera->getLastError();
    ASSERT_TRUE(camera->readCCD(0, 0, 100, 100, 1, 1, 0.1));
    std::vector<unsigned short> pixels(200 * 100);
    EXPECT_FALSE(camera->getImage(pixels.data(), static_cast<unsigned>(pixels.size())));
    EXPECT_STREQ(camera->getLastError(), "Failed to get image");
    EXPECT_GT(background(exposeTimed(0.1, {0, 0, 100, 100, 1})), 0.0);
    TavoHostBulkTimeout = 30000;
    camera->close();
    ASSERT_TRUE(camera->open()) << camera->getLastError();
}

TEST_F(LinkTest, ClosedAndOpenedAgainItStillTakesPictures) {
    camera->close();
    EXPECT_FALSE(camera->getCapabilities(nullptr, nullptr, &caps));
    EXPECT_STREQ(camera->getLastError(), "Device is not opened");
    ASSERT_TRUE(camera->open()) << camera->getLastError();
    ASSERT_TRUE(camera->getCapabilities(nullptr, nullptr, &caps));
    EXPECT_GT(background(exposeTimed(0.1, {0, 0, 100, 100, 1})), 0.0);
}
