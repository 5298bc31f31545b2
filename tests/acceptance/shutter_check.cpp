// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the shutter does to light: in dark frames, and moved by hand while an exposure runs.
#include "checks.h"
#include "dark_frames.h"

#include <chrono>
#include <thread>

namespace acceptance {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kShutterDelay{500}; // from the start of an exposure

void requireShutter(const Session& session) {
    if (session.camera.family() != RIDGE_CAMERA || !session.camera.caps().hasShutter)
        throw Skip("the camera cannot keep light out");
}

double hostSeconds(const Session& session) {
    return session.options.quick ? 0.3 : 1.0;
}

// The light in a picture that should have none, as a share of an exposure of `seconds`.
void expectDark(const Session& session, const Frame& frame, double seconds) {
    if (!session.stars || !session.unitsPerElectron)
        return;
    const Comparison seen = session.compared(frame);
    const double share = session.secondsByLight(seen, frame) / seconds;
    expect(share < 0.1, "no stars in the dark",
           std::to_string(seen.measurable) + ", " + text(100 * share) + " % of the light");
}

// Pictures with the shutter open stand beside the dark ones: stars must come and go with it alone.
std::string darkFrames(Session& session) {
    requireShutter(session);
    Camera& camera = session.camera;
    const double host = hostSeconds(session);
    std::string told;
    {
        const DarkFrames mode(camera);
        const Frame timed = camera.exposeTimed(session.window, session.exposure);
        expectDark(session, timed, session.exposure);
        const Frame lasting = camera.exposeLong(session.window, host);
        expectDark(session, lasting, camera.cameraSeconds(std::chrono::duration<double>(host)));
        told = std::string(session.stars ? "no star, " : "") + "background " +
               text(background(timed).mean());
    }
    session.expectSky(camera.exposeTimed(session.window, session.exposure), session.exposure);
    Duration lasted{};
    const Frame open = camera.exposeLong(session.window, host, &lasted);
    return told + "; open: " + session.expectSky(open, lasted);
}

// Closed as soon as the exposure has begun.
std::string closedByHand(Session& session) {
    requireShutter(session);
    Camera& camera = session.camera;
    const std::chrono::duration<double> wait{hostSeconds(session)};
    const auto asked = Clock::now();
    require(camera, camera->startExposure(false), "startExposure");
    require(camera, camera->setShutter(false), "setShutter(false)");
    const double lit = camera.cameraSeconds(Clock::now() - asked - kShutterDelay);
    std::this_thread::sleep_for(wait);
    const Frame frame = camera.readOut(session.window);
    if (!session.stars || !session.unitsPerElectron)
        return Session::plainly(background(frame));
    constexpr double kSlack = 0.05; // of what an open shutter would let in
    const double seconds = session.secondsByLight(session.compared(frame), frame);
    expect(seconds < lit + kSlack * camera.cameraSeconds(wait),
           "light of at most " + text(lit) + " s through a shutter that was closed",
           "of " + text(seconds) + " s");
    return "light of " + text(seconds) + " s in an exposure of " +
           text(camera.cameraSeconds(wait)) + " s";
}

// Opened in a dark frame: stars appear.
std::string openedByHand(Session& session) {
    requireShutter(session);
    Camera& camera = session.camera;
    const DarkFrames mode(camera);
    require(camera, camera->startExposure(false), "startExposure");
    const auto asked = Clock::now();
    require(camera, camera->setShutter(true), "setShutter(true)");
    const auto opened = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(hostSeconds(session)));
    const auto reading = Clock::now();
    Clock::time_point read;
    const Frame frame = camera.readOut(session.window, &read);
    return session.expectSky(frame, Duration{camera.cameraSeconds(reading - opened),
                                             camera.cameraSeconds(read - asked)});
}

} // namespace

void checkShutter(Session& session) {
    session.report.step("dark frames", [&] { return darkFrames(session); });
    session.report.step("shutter closed by hand", [&] { return closedByHand(session); });
    session.report.step("shutter opened by hand", [&] { return openedByHand(session); });
}

} // namespace acceptance
