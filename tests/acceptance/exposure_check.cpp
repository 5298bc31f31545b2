// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Exposures timed by the camera and by the host, of the whole sensor, of windows, and binned.
#include "checks.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

// The first picture tells how many units an electron makes; all later ones are held against it.
std::string reference(Session& session) {
    const Frame frame = session.camera.exposeTimed(session.window, session.exposure);
    const Comparison seen = session.expectSky(frame);
    if (!session.stars)
        return Session::plainly(seen.sky);
    session.unitsPerElectron = seen.brightness / session.exposure;
    return summary(seen) + ", " + text(*session.unitsPerElectron) + " units an electron";
}

std::string shortest(Session& session) {
    const double seconds = session.camera.caps().minShortExposure;
    const Frame frame = session.camera.exposeTimed(session.window, seconds);
    const double level = background(frame).mean();
    expect(level < 0.5 * frame.white, "a dim picture in " + text(seconds) + " s", text(level));
    if (session.stars && session.unitsPerElectron && seconds < 0.01 * session.exposure) {
        // Only the very brightest stars may show, and they must not be those of a longer exposure.
        const Comparison seen = session.compared(frame);
        expect(seen.brightness < 0.3 * *session.unitsPerElectron * session.exposure,
               "hardly any light in " + text(seconds) + " s",
               "as much as in " + text(seen.brightness / *session.unitsPerElectron) + " s");
    }
    return text(seconds) + " s, background " + text(level);
}

std::string longest(Session& session) {
    const double seconds = session.camera.caps().maxShortExposure;
    return text(seconds) + " s, " +
           session.expectSky(session.camera.exposeTimed(session.window, seconds), seconds);
}

std::string longExposure(Session& session, const Window& window, double hostSeconds) {
    Duration lasted{};
    const Frame frame = session.camera.exposeLong(window, hostSeconds, &lasted);
    return session.expectSky(frame, lasted);
}

bool mayBinUnequally(const Camera& camera) {
    // A glint refuses; a heron may leave gaps between the rows of what is not square.
    return camera.family() != GLINT_CAMERA && camera.family() != HERON_CAMERA &&
           camera.caps().maxBinX > 1 && camera.caps().maxBinY > 1;
}

} // namespace

void checkTimedExposures(Session& session) {
    session.report.step("timed exposure", [&] { return reference(session); });
    session.report.step("shortest timed exposure", [&] { return shortest(session); });
    session.report.step("longest timed exposure", [&] { return longest(session); });
}

void checkLongExposures(Session& session) {
    Camera& camera = session.camera;
    // Of the host's time. Long beside the time that commands take.
    const double hostSeconds = (session.options.quick ? 0.3 : 1.0) + camera.addedByReadout();
    const auto step = [&](const std::string& name, const Window& window) {
        session.report.step(name, [&] {
            if (!camera.caps().supportsLongExposure)
                throw Skip("the camera has none");
            return longExposure(session, window, hostSeconds);
        });
    };
    step("long exposure, full frame", camera.fullFrame());
    step("long exposure, window", session.window);
    if (std::min(camera.caps().maxBinX, camera.caps().maxBinY) > 1)
        step("long exposure, binned 2x2", session.window.binned(2, 2));
    session.report.step("timed, full frame", [&]() -> std::string {
        if (camera.caps().supportsLongExposure && session.options.quick)
            throw Skip("tried with a long exposure");
        return session.expectSky(camera.exposeTimed(camera.fullFrame(), session.exposure),
                                 session.exposure);
    });
}

void checkBinning(Session& session) {
    // Larger bins leave less than half a pixel of a star to be told apart.
    constexpr unsigned kMost = 8, kMostQuick = 4;
    Camera& camera = session.camera;
    const unsigned most = std::min(
        {camera.caps().maxBinX, camera.caps().maxBinY, session.options.quick ? kMostQuick : kMost});
    const auto step = [&](unsigned binX, unsigned binY) {
        const std::string name =
            "timed, binned " + std::to_string(binX) + "x" + std::to_string(binY);
        session.report.step(name, [&] {
            return session.expectSky(
                camera.exposeTimed(session.window.binned(binX, binY), session.exposure),
                session.exposure);
        });
    };
    for (unsigned bin = 2; bin <= most; ++bin)
        step(bin, bin);
    if (mayBinUnequally(camera)) {
        step(1, 2);
        step(2, 1);
    }
}

} // namespace acceptance
