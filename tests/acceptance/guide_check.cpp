// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Guide pulses move the field of stars: each relay its own way, as far as the pulse was long.
#include "checks.h"
#include "field_search.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace acceptance {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kRate = 7.5;           // arcseconds a second, of the virtual mount
constexpr double kPulseArcseconds = 40; // many pixels, yet few of the window's stars leave it

// Opens the relays also when a step ends early.
class Relays {
public:
    Relays(const Camera& camera_, unsigned short mask) : camera(camera_) {
        require(camera, camera->setGuideRelays(mask), "setGuideRelays");
    }
    ~Relays() { camera->setGuideRelays(0); }
    Relays(const Relays&) = delete;
    Relays& operator=(const Relays&) = delete;
    void release() { require(camera, camera->setGuideRelays(0), "setGuideRelays(0)"); }

private:
    const Camera& camera;
};

// Tells how long the pulse lasted in the camera's time.
Duration pulse(const Camera& camera, unsigned short mask, double cameraSeconds) {
    const auto asked = Clock::now();
    Relays relays(camera, mask);
    const auto closed = Clock::now();
    camera.pause(cameraSeconds);
    const auto releasing = Clock::now();
    relays.release();
    return {camera.cameraSeconds(releasing - closed), camera.cameraSeconds(Clock::now() - asked)};
}

struct Move { // pixels
    double x = 0, y = 0;
    bool alongX() const { return std::abs(x) > std::abs(y); }
    double length() const { return alongX() ? x : y; }
    double across() const { return alongX() ? y : x; }
};

double scaleAlong(const Session& session, const Move& move) {
    return move.alongX() ? session.stars->arcsecondsPerColumn() : session.stars->arcsecondsPerRow();
}

// The move that a pulse makes, measured by the stars.
Move moveBy(Session& session, unsigned short mask, double cameraSeconds) {
    Camera& camera = session.camera;
    const Duration lasted = pulse(camera, mask, cameraSeconds);
    const Frame frame = camera.exposeTimed(session.window, session.exposure);
    const double finest =
        std::min(session.stars->arcsecondsPerColumn(), session.stars->arcsecondsPerRow());
    const auto farthest =
        static_cast<unsigned>(std::clamp(1.2 * kRate * lasted.most / finest + 4, 8.0, 250.0));
    const auto shift =
        findShift(frame, {*session.stars, session.filter, session.shift, farthest,
                          *session.unitsPerElectron * session.exposure, *session.unitsPerElectron});
    expect(shift.has_value(), "the field within " + std::to_string(farthest) + " pixels", "none");
    const Move move{shift->x - session.shift.x, shift->y - session.shift.y};
    session.shift = *shift;
    constexpr double kTolerance = 0.05, kPixels = 0.6;
    const double rate = kRate / scaleAlong(session, move); // pixels a second
    const double least = rate * lasted.least * (1 - kTolerance) - kPixels;
    const double most = rate * lasted.most * (1 + kTolerance) + kPixels;
    expect(std::abs(move.length()) >= least && std::abs(move.length()) <= most,
           "a move of " + text(least) + " to " + text(most) + " pixels",
           text(move.x) + ", " + text(move.y));
    expect(std::abs(move.across()) < kPixels, "a move along one axis",
           text(move.x) + ", " + text(move.y));
    return move;
}

// There by one relay and back by its opposite.
std::string axis(Session& session, unsigned short there, unsigned short back, Move& moved) {
    moved = moveBy(session, there, kPulseArcseconds / kRate);
    const double pixels = std::abs(moved.length());
    const Move returned = moveBy(session, back, pixels * scaleAlong(session, moved) / kRate);
    expect(returned.alongX() == moved.alongX() && returned.length() * moved.length() < 0,
           "the opposite of " + text(moved.x) + ", " + text(moved.y),
           text(returned.x) + ", " + text(returned.y));
    return "by " + text(moved.x) + ", " + text(moved.y) + " pixels and back by " +
           text(returned.x) + ", " + text(returned.y);
}

std::string blindPulse(const Camera& camera, unsigned short there, unsigned short back) {
    constexpr double kBrief = 0.05;
    pulse(camera, there, kBrief);
    pulse(camera, back, kBrief);
    return "the relays were closed and opened";
}

} // namespace

void checkGuideRelays(Session& session) {
    const Camera& camera = session.camera;
    Move first, second;
    const auto step = [&](const std::string& name, unsigned short there, unsigned short back,
                          Move& moved) {
        return session.report.step(name, [&] {
            if (!camera.caps().hasGuidePort)
                throw Skip("the camera has none");
            if (!session.stars)
                return blindPulse(camera, there, back);
            if (!session.unitsPerElectron)
                throw Skip("no stars were found before");
            return axis(session, there, back, moved);
        });
    };
    const bool one = step("guide relays 1 and 2", 0x01, 0x02, first);
    const bool other = step("guide relays 4 and 8", 0x04, 0x08, second);
    if (one && other && first.length() != 0)
        session.report.step("guide axes", [&] {
            expect(first.alongX() != second.alongX(), "two axes", "both pairs move along the same");
            return "";
        });
}

} // namespace acceptance
