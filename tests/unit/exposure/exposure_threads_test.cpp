// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The lock that a readout request keeps for getImage, and who waits for it.
#include "exposure/exposure_test.h"
#include "exposure/patient_camera.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace tavo::test::exposure {
namespace {

class ExposureThreadsTest : public ExposureTest {
protected:
    ExposureThreadsTest() { usb().respondWith(&peer); }

    PatientCamera peer;
};

bool fetch(TavoCamera& camera) {
    unsigned short image[8] = {};
    return camera.getImage(image, 8);
}

using Operation = std::function<bool(TavoCamera&)>;

// Starts the operation on a camera whose image waits; it must not end before the image is fetched.
void expectWaits(CAMERA_TYPE type, const Operation& operation) {
    SCOPED_TRACE(familyName(type));
    const auto camera = pendingCamera(type);
    CameraPeer(*camera).hasShutter() = true;
    CapturedTrace trace;
    std::atomic<bool> fetched{false};
    bool waited = false;
    std::thread other([&] {
        operation(*camera);
        waited = fetched;
    });
    while (!trace.contains("    lock busy"))
        std::this_thread::yield();
    EXPECT_FALSE(CameraPeer(*camera).lockIsFree());
    fetched = true;
    EXPECT_TRUE(fetch(*camera));
    other.join();
    EXPECT_TRUE(waited);
}

TEST_F(ExposureThreadsTest, AbortWaitsForTheImage) {
    for (const CAMERA_TYPE type : kFamilies)
        expectWaits(type, [](TavoCamera& camera) { return camera.abortExposure(); });
}

TEST_F(ExposureThreadsTest, ShutterWaitsForTheImage) {
    expectWaits(RIDGE_CAMERA, [](TavoCamera& camera) { return camera.setShutter(true); });
}

TEST_F(ExposureThreadsTest, StartWaitsForTheImage) {
    expectWaits(RIDGE_CAMERA, [](TavoCamera& camera) { return camera.startExposure(false); });
}

TEST_F(ExposureThreadsTest, ImageIsFetchedByAnotherThread) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        for (int round = 0; round < 3; ++round) {
            EXPECT_TRUE(readCCD(*camera, {}, 0.1));
            bool got = false;
            std::thread([&] { got = fetch(*camera); }).join();
            EXPECT_TRUE(got);
            expectState(*camera, {});
        }
    }
}

TEST_F(ExposureThreadsTest, StartReadoutAndImageByThreadsOfTheirOwn) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        bool started = false, read = false, got = false;
        std::thread([&] { started = camera->startExposure(false); }).join();
        std::thread([&] { read = readCCD(*camera, {}); }).join();
        std::thread([&] { got = fetch(*camera); }).join();
        EXPECT_TRUE(started && read && got);
        expectState(*camera, {});
    }
}

TEST_F(ExposureThreadsTest, BadWindowFreesTheLockOfAnotherThread) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    CameraPeer(*camera).exposureStarted() = true;
    bool refused = false;
    std::thread([&] { refused = !readCCD(*camera, {.binX = 0}); }).join();
    EXPECT_TRUE(refused);
    expectState(*camera, {});
}

TEST_F(ExposureThreadsTest, BadTimedWindowDoesNot) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    bool refused = false;
    std::thread([&] { refused = !readCCD(*camera, {.binX = 0}, 0.1); }).join();
    EXPECT_TRUE(refused);
    expectState(*camera, {.lockFree = false});
}

// Cameras share nothing but the numbers of their requests.
TEST_F(ExposureThreadsTest, CamerasWorkSideBySide) {
    constexpr int kRounds = 20;
    std::atomic<int> images{0};
    std::vector<std::thread> threads;
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA}) {
        threads.emplace_back([&images, type] {
            const auto camera = idleCamera(type);
            for (int round = 0; round < kRounds; ++round)
                images += readCCD(*camera, {}, 0.1) && fetch(*camera) ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(images, 4 * kRounds);
}

} // namespace
} // namespace tavo::test::exposure
