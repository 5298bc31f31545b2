// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One camera used by several threads, and several cameras used by a thread each. The cameras are
// played well enough that an exchange which another one has cut in two gives itself away.
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <array>
#include <atomic>
#include <memory>
#include <thread>

namespace tavo::test {
namespace {

constexpr unsigned kSide = 4; // of every window
constexpr std::uint8_t kSample = 0x21;
using Image = std::array<unsigned short, kSide * kSide>;

// Delivers an image of equal bytes whenever one is asked for, and counts the requests that came
// while the reply to the last one was still waiting.
class SharedCamera : public CameraScript {
public:
    SharedCamera(CAMERA_TYPE played, std::uint32_t serial)
        : CameraScript(healthyCamera(
              played, {.flags = flagsOf(played), .countX = 9, .countY = 9, .serial = serial})),
          type(played) {
        reply(6, Bytes(2 * kSide * kSide, kSample));
        reply(53, {2, 0, 0, 1, 2, 0, 0, 20});
        reply(56, type == LUMEN_CAMERA ? Bytes{0, 1} : Bytes{1, 0});
        reply(141, {0, 88, 0, 0, 0, 5, 1, 1, 0, 88, 0, 0, 0, 5, 1, 1});
    }

    int bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) override {
        constexpr unsigned kRequestEndpoint = 0x04;
        constexpr std::uint8_t kParallelIn = 9;
        if (endpoint == kRequestEndpoint) {
            cutIn += unread != 0 ? 1 : 0;
            const std::size_t wanted = data[8] + 256u * data[9];
            unread = wanted != 0 || data[2] != 0 ? wanted + 4 : 0;
            if (type == HERON_CAMERA && exposing && data[0] == kParallelIn)
                feed(Bytes(1024, kSample));
        }
        return CameraScript::bulkOut(endpoint, data);
    }

    Answer bulkIn(unsigned endpoint, std::size_t wanted) override {
        constexpr unsigned kReplyEndpoint = 0x86, kGlintEndpoint = 0x81;
        if (endpoint == kGlintEndpoint)
            return {0, Bytes(wanted, kSample)};
        Answer answer = CameraScript::bulkIn(endpoint, wanted);
        if (endpoint == kReplyEndpoint)
            unread -= std::min<std::size_t>(unread, answer.data.size());
        return answer;
    }

    bool exposing = false; // one family sends pixels without being asked by a command
    int cutIn = 0;

private:
    static unsigned flagsOf(CAMERA_TYPE type) {
        return type == HERON_CAMERA ? 0x01 : type == LUMEN_CAMERA ? 0x1200 : 0x1000;
    }

    CAMERA_TYPE type;
    std::size_t unread = 0;
};

bool takeImage(TavoCamera& camera, Image& image) {
    return camera.readCCD(0, 0, kSide, kSide, 1, 1, 0.1) &&
           camera.getImage(image.data(), static_cast<unsigned>(image.size()));
}

bool takeLongImage(TavoCamera& camera, Image& image) {
    return camera.startExposure(false) && camera.readCCD(0, 0, kSide, kSide, 1, 1) &&
           camera.getImage(image.data(), static_cast<unsigned>(image.size()));
}

// What can be asked beside an exposure. The camera has always the same to say.
struct Status {
    std::array<bool, 7> served{};
    float celsius = 0, target = 0, power = 0;
    COOLING_STATE state{};
    unsigned filters = 0, current = 0;
    int gain = 0, offset = 0;
    friend bool operator==(const Status&, const Status&) = default;
};

Status ask(TavoCamera& camera) {
    Status status;
    TavoCapabilities record{};
    unsigned short lines = 0;
    status.served = {
        camera.getTemperatureSensorStatus(0, &status.celsius),
        camera.getCoolingStatus(&status.state, &status.target, &status.power),
        camera.setCooling(-10.0f),
        camera.getFilterWheelStatus(&status.filters, nullptr, &status.current, nullptr),
        camera.getGPIO(&lines),
        camera.getGain(&status.gain, &status.offset),
        camera.getCapabilities(nullptr, nullptr, &record)};
    camera.setGuideRelays(0x05);
    camera.setPreviewMode(!camera.setPreviewMode(true));
    camera.setParam(MAX_PACKET_SIZE, camera.getParam(MAX_PACKET_SIZE) == 512 ? 4096 : 512);
    return status;
}

class SharedCameraThreadsTest : public UnitTest {
protected:
    static constexpr int kRounds = 10;

    // An open camera that `played` plays, ready for exposures.
    std::unique_ptr<TavoCameraImpl> opened(CAMERA_TYPE type, SharedCamera& played) {
        usb().reset();
        usb().respondWith(&played);
        auto camera = closedCamera(type);
        EXPECT_TRUE(camera->open());
        played.exposing = true;
        return camera;
    }
};

TEST_F(SharedCameraThreadsTest, StatusIsPolledBesideExposures) {
    for (const CAMERA_TYPE type : kFamilies) {
        SCOPED_TRACE(familyName(type));
        SharedCamera played(type, 1);
        const auto camera = opened(type, played);
        Image expected{};
        ASSERT_TRUE(takeImage(*camera, expected));
        const Status undisturbed = ask(*camera);
        usb().letOthersIn();

        std::atomic<int> images{0}, answers{0};
        std::vector<std::thread> threads;
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                Image image{};
                const bool took = round % 2 == 0 || type == GLINT_CAMERA
                                      ? takeImage(*camera, image)
                                      : takeLongImage(*camera, image);
                images += took && image == expected ? 1 : 0;
            }
        });
        for (int poller = 0; poller < 2; ++poller) {
            threads.emplace_back([&] {
                for (int round = 0; round < kRounds; ++round)
                    answers += ask(*camera) == undisturbed ? 1 : 0;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(images, kRounds);
        EXPECT_EQ(answers, 2 * kRounds);
        EXPECT_EQ(played.cutIn, 0);
        EXPECT_TRUE(CameraPeer(*camera).lockIsFree());
        camera->close();
    }
}

TEST_F(SharedCameraThreadsTest, ExposureIsAbandonedByAnotherThread) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        SharedCamera played(type, 1);
        const auto camera = opened(type, played);
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_TRUE(camera->startExposure(false));
            std::thread([&] { EXPECT_TRUE(camera->abortExposure()); }).join();
            EXPECT_FALSE(camera->readCCD(0, 0, kSide, kSide, 1, 1));
            EXPECT_STREQ(camera->getLastError(), "Operation out of sequence");
            Image image{};
            EXPECT_TRUE(takeLongImage(*camera, image));
        }
        camera->close();
    }
}

TEST_F(SharedCameraThreadsTest, ExposuresAreAbandonedWhileTheyStart) {
    SharedCamera played(RIDGE_CAMERA, 1);
    const auto camera = opened(RIDGE_CAMERA, played);
    CameraPeer(*camera).hasShutter() = true; // which both of them move
    usb().letOthersIn();
    std::thread aborter([&] {
        for (int round = 0; round < 4 * kRounds; ++round)
            EXPECT_TRUE(camera->abortExposure());
    });
    for (int round = 0; round < 4 * kRounds; ++round)
        EXPECT_TRUE(camera->startExposure(false));
    aborter.join();
    EXPECT_EQ(played.cutIn, 0);
    EXPECT_TRUE(CameraPeer(*camera).lockIsFree());
}

// Two cameras of every family at once, each opened, used and closed by a thread of its own.
TEST_F(SharedCameraThreadsTest, CamerasAreOpenedAndUsedSideBySide) {
    struct Place {
        CAMERA_TYPE type;
        std::uint32_t serial;
        std::unique_ptr<SharedCamera> played{};
        std::unique_ptr<TavoCameraImpl> camera{};
        bool good = false;
    };
    std::vector<Place> places;
    for (const CAMERA_TYPE type : kFamilies)
        for (const unsigned twin : {0u, 1u})
            places.push_back(
                {.type = type, .serial = static_cast<std::uint32_t>(type) * 100 + twin});
    for (std::size_t i = 0; i < places.size(); ++i) {
        Place& place = places[i];
        place.played = std::make_unique<SharedCamera>(place.type, place.serial);
        usb().respondWith(usb().device(i), place.played.get());
        place.camera =
            std::make_unique<TavoCameraImpl>(usb().device(i), familyName(place.type), place.type);
    }
    usb().letOthersIn();
    std::vector<std::thread> threads;
    for (Place& place : places) {
        threads.emplace_back([&place] {
            bool good = true;
            for (int round = 0; round < 2; ++round) {
                place.played->exposing = false;
                good =
                    good && place.camera->open() && place.camera->getSerialNumber() == place.serial;
                place.played->exposing = true;
                const Status status = ask(*place.camera);
                Image image{};
                good = good && takeImage(*place.camera, image) && image.back() != 0 &&
                       ask(*place.camera) == status;
                place.camera->close();
            }
            place.good = good;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const Place& place : places) {
        EXPECT_TRUE(place.good) << familyName(place.type) << " " << place.serial;
        EXPECT_EQ(place.played->cutIn, 0);
    }
}

} // namespace
} // namespace tavo::test
