// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An exposure that is given up, and a camera that is closed and opened again.
#include "checks.h"

#include <array>
#include <chrono>
#include <thread>

namespace acceptance {

namespace {

std::string timedPicture(Session& session) {
    return session.expectSky(session.camera.exposeTimed(session.window, session.exposure),
                             session.exposure);
}

// In the middle of an exposure that the host times. The next one may begin at once, and must not
// show light of the one that was given up.
std::string abortLong(Session& session) {
    Camera& camera = session.camera;
    constexpr std::chrono::milliseconds kMiddle{200};
    if (camera.caps().supportsLongExposure) {
        require(camera, camera->startExposure(false), "startExposure");
        std::this_thread::sleep_for(kMiddle);
    }
    require(camera, camera->abortExposure(), "abortExposure");
    unsigned short pixel = 0;
    expect(!camera->getImage(&pixel, 1), "no image after an abort", "one");
    if (camera->readCCD(0, 0, 16, 16, 1, 1)) {
        camera.fetch({0, 0, 16, 16}); // frees the camera for the steps to come
        expect(false, "no readout after an abort", "one");
    }
    expect(std::string(camera->getLastError()) == "Operation out of sequence",
           "\"Operation out of sequence\"", camera->getLastError());
    if (!camera.caps().supportsLongExposure)
        return timedPicture(session);
    Duration lasted{};
    const Frame frame = camera.exposeLong(session.window, 0.2 + camera.addedByReadout(), &lasted);
    return session.expectSky(frame, lasted);
}

std::string pictureAfterAbort(Session& session) {
    Camera& camera = session.camera;
    if (!camera.caps().supportsLongExposure)
        throw Skip("the camera has no long exposures");
    require(camera, camera->startExposure(false), "startExposure");
    require(camera, camera->abortExposure(), "abortExposure");
    return timedPicture(session);
}

// From other threads, while the camera times an exposure and while its image waits: both have to
// wait for the image, which they must not spoil.
std::string abortTimed(Session& session) {
    Camera& camera = session.camera;
    std::array<bool, 2> aborted{};
    Frame frame;
    {
        const std::jthread whileExposing([&] {
            std::this_thread::sleep_for(std::chrono::duration<double>(session.exposure / 2));
            aborted[0] = camera->abortExposure();
        });
        camera.requestTimed(session.window, session.exposure);
        const std::jthread whileWaiting([&] { aborted[1] = camera->abortExposure(); });
        constexpr std::chrono::milliseconds kTimeToGoWrong{100};
        std::this_thread::sleep_for(kTimeToGoWrong);
        frame = camera.fetch(session.window);
    }
    expect(aborted[0] && aborted[1], "the aborts to succeed", "failure");
    session.expectSky(frame, session.exposure);
    return timedPicture(session);
}

std::string close(const Camera& camera) {
    camera->close();
    camera->close(); // harmless
    TavoCapabilities caps;
    expect(!camera->getCapabilities(nullptr, nullptr, &caps), "no capabilities of a closed camera",
           "some");
    expect(std::string(camera->getLastError()) == "Device is not opened",
           "\"Device is not opened\"", camera->getLastError());
    return "";
}

std::string reopen(Camera& camera) {
    const TavoCapabilities before = camera.caps();
    require(camera, camera->open(), "open");
    camera.describe();
    const TavoCapabilities& after = camera.caps();
    expect(before.pixelCountX == after.pixelCountX && before.pixelCountY == after.pixelCountY &&
               before.coolerType == after.coolerType && before.colourType == after.colourType &&
               before.hasFilterWheel == after.hasFilterWheel,
           "the same camera as before", "another");
    return "";
}

} // namespace

void checkAbort(Session& session) {
    session.report.step("abort", [&] { return abortLong(session); });
    session.report.step("timed exposure after abort", [&] { return pictureAfterAbort(session); });
    session.report.step("abort of a timed exposure", [&] { return abortTimed(session); });
}

void checkReopening(Session& session) {
    Camera& camera = session.camera;
    session.report.step("close", [&] { return close(camera); });
    if (!session.report.step("open after close", [&] { return reopen(camera); }))
        return;
    session.report.step("picture after opening", [&] { return timedPicture(session); });
    session.report.step("close at the end", [&] { return close(camera); });
}

} // namespace acceptance
