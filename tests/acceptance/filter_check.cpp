// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The filter wheel: that it goes everywhere, and that each filter lets through what it should.
#include "checks.h"

#include <cmath>

namespace acceptance {

using tavo::virtualcamera::filters;
using tavo::virtualcamera::Passband;

namespace {

struct WheelStatus {
    unsigned count = 0, current = 0, target = 0;
    bool moving = false;
};

WheelStatus statusOf(const Camera& camera) {
    WheelStatus status;
    require(camera,
            camera->getFilterWheelStatus(&status.count, &status.moving, &status.current,
                                         &status.target),
            "getFilterWheelStatus");
    return status;
}

void turnTo(const Camera& camera, unsigned position) {
    constexpr unsigned kMostPolls = 600;
    constexpr double kPollPause = 0.2; // of the camera's time
    require(camera, camera->setFilter(position), "setFilter(" + std::to_string(position) + ")");
    WheelStatus status = statusOf(camera);
    expect(status.target == position, "the target " + std::to_string(position),
           std::to_string(status.target));
    for (unsigned poll = 0; poll < kMostPolls && (status.moving || status.current != position);
         ++poll) {
        camera.pause(kPollPause);
        status = statusOf(camera);
    }
    expect(!status.moving && status.current == position,
           "the wheel at rest at " + std::to_string(position),
           std::to_string(status.current) + (status.moving ? ", moving" : ""));
}

std::string wheel(const Camera& camera, const Options& options) {
    const WheelStatus status = statusOf(camera);
    if (options.expected.filters)
        expect(status.count == *options.expected.filters,
               std::to_string(*options.expected.filters) + " filters",
               std::to_string(status.count));
    expect(status.count > 0, "filters", "none");
    return std::to_string(status.count) + " filters, at " + std::to_string(status.current);
}

// Stars that can be measured well through the clear filter.
std::vector<ExpectedStar> wellSeen(const Session& session, const Frame& clear) {
    const Background sky = background(clear);
    const Reach reach = session.stars->reach(clear.window);
    const double noise = sky.noise * std::sqrt((2.0 * reach.x + 1) * (2.0 * reach.y + 1));
    std::vector<ExpectedStar> result;
    for (const ExpectedStar& star : session.stars->in(clear.window, session.shift, {1, 1, 1})) {
        const auto light = measure(clear, sky, star.x, star.y, reach);
        if (star.alone && light && light->peak < 0.6 * clear.white && light->units > 10 * noise)
            result.push_back(star);
    }
    return result;
}

struct Sum {
    double light = 0, noise = 0;
};

Sum lightOf(const Session& session, const Frame& frame, const std::vector<ExpectedStar>& stars) {
    const Background sky = background(frame);
    const Reach reach = session.stars->reach(frame.window);
    double variance = 0;
    Sum sum;
    for (const ExpectedStar& star : stars) {
        const Reach& r = reach;
        const auto left = static_cast<unsigned>(std::lround(star.x)) - r.x;
        const auto top = static_cast<unsigned>(std::lround(star.y)) - r.y;
        for (unsigned y = top; y <= top + 2 * r.y; ++y)
            for (unsigned x = left; x <= left + 2 * r.x; ++x) {
                sum.light += frame.at(x, y) - sky.at(x, y);
                variance += sky.noise * sky.noise;
            }
    }
    sum.noise = std::sqrt(variance);
    return sum;
}

// What the stars of the list send through a filter, electrons a second.
double electronsThrough(const Session& session, const Window& window, const Passband& filter,
                        const std::vector<ExpectedStar>& stars) {
    double sum = 0;
    const auto filtered = session.stars->in(window, session.shift, filter);
    for (const ExpectedStar& star : stars)
        for (const ExpectedStar& same : filtered)
            if (same.x == star.x && same.y == star.y)
                sum += same.electrons;
    return sum;
}

// The stars' light through each filter is held against the light through no filter.
class FilterTrial {
public:
    explicit FilterTrial(Session& session_)
        : session(session_), clear(take()), stars(wellSeen(session, clear)),
          units(lightOf(session, clear, stars).light /
                electronsThrough(session, clear.window, {1, 1, 1}, stars)) {
        expect(stars.size() >= 4, "at least 4 stars to measure", std::to_string(stars.size()));
    }

    std::string through(const tavo::virtualcamera::Filter& filter) const {
        const Sum seen = lightOf(session, take(), stars);
        const double expected =
            units * electronsThrough(session, clear.window, filter.passband, stars);
        const double bare = units * electronsThrough(session, clear.window, {1, 1, 1}, stars);
        constexpr double kTolerance = 0.1;
        expect(std::abs(seen.light - expected) < kTolerance * expected + 5 * seen.noise,
               text(100 * expected / bare) + " % of the light through " + std::string(filter.name),
               text(100 * seen.light / bare) + " %");
        return std::string(filter.name) + ", " + text(100 * seen.light / bare) +
               " % of the light of " + std::to_string(stars.size()) + " stars";
    }

private:
    Frame take() const { return session.camera.exposeTimed(session.window, session.exposure); }

    Session& session;
    Frame clear;
    std::vector<ExpectedStar> stars;
    double units;
};

} // namespace

void checkFilters(Session& session) {
    Camera& camera = session.camera;
    unsigned count = 0;
    const bool useful = session.report.step("filter wheel", [&] {
        if (!camera.caps().hasFilterWheel)
            throw Skip("the camera has none");
        const std::string told = wheel(camera, session.options);
        count = statusOf(camera).count;
        turnTo(camera, 0);
        return told;
    });
    if (!useful || count == 0)
        return;
    std::optional<FilterTrial> trial;
    session.report.step("filter 0", [&]() -> std::string {
        if (!session.stars)
            throw Skip("it is not known what is in the wheel");
        trial.emplace(session);
        return std::string(filters()[0].name);
    });
    for (unsigned position = 1; position < count; ++position)
        session.report.step("filter " + std::to_string(position), [&]() -> std::string {
            turnTo(camera, position);
            if (!trial || position >= filters().size())
                return "reached";
            return trial->through(filters()[position]);
        });
    session.report.step("filter 0 again", [&] {
        turnTo(camera, 0);
        return "";
    });
}

} // namespace acceptance
