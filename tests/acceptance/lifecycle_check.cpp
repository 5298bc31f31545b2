// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An exposure that is given up, and a camera that is closed and opened again.
#include "checks.h"

namespace acceptance {

namespace {

std::string abortExposure(Session& session) {
    Camera& camera = session.camera;
    if (camera.caps().supportsLongExposure)
        require(camera, camera->startExposure(false), "startExposure");
    require(camera, camera->abortExposure(), "abortExposure");
    unsigned short pixel = 0;
    expect(!camera->getImage(&pixel, 1), "no image after an abort", "one");
    expect(!camera->readCCD(0, 0, 16, 16, 1, 1), "no readout after an abort", "one");
    expect(std::string(camera->getLastError()) == "Operation out of sequence",
           "\"Operation out of sequence\"", camera->getLastError());
    return session.expectSky(camera.exposeTimed(session.window, session.exposure),
                             session.exposure);
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
    session.report.step("abort", [&] { return abortExposure(session); });
}

void checkReopening(Session& session) {
    Camera& camera = session.camera;
    session.report.step("close", [&] { return close(camera); });
    if (!session.report.step("open after close", [&] { return reopen(camera); }))
        return;
    session.report.step("picture after opening", [&] {
        return session.expectSky(camera.exposeTimed(session.window, session.exposure),
                                 session.exposure);
    });
    session.report.step("close at the end", [&] { return close(camera); });
}

} // namespace acceptance
