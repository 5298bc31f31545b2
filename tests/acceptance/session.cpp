// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session.h"

#include "field_search.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

constexpr double kTypicalUnitsPerElectron = 2.5; // before it has been measured
constexpr unsigned kLeastStars = 3;

// Hot pixels spoil the brightness of some stars and the place of a few.
bool nearlyAll(unsigned count, unsigned all, unsigned sparedShare) {
    return count + std::max(1u, all / sparedShare) >= all;
}

std::string found(const Comparison& stars) {
    return summary(stars) + ", the field off by " + text(stars.offset.x) + ", " +
           text(stars.offset.y);
}

} // namespace

// The shortest exposure that shows enough stars in a small window; the longest one and nearly all
// of the sensor where none does.
void Session::chooseWindow(const Size& small, const Size& large) {
    constexpr unsigned kEnough = 6;
    const Size sensor =
        options.sensor.value_or(Size{camera.caps().pixelCountX, camera.caps().pixelCountY});
    ExpectedStars::Sensor seen{sensor.width, sensor.height, {}};
    if (const auto phase = mosaic())
        seen.mosaic = {phase->column, phase->row};
    stars.emplace(options.seed, camera.caps(), seen);
    const double first = exposure;
    for (const Size& size : {small, large})
        for (const double factor : {1.0, 1.5, 2.0, 3.0}) {
            exposure = std::min(first * factor, camera.caps().maxShortExposure);
            const auto choice = stars->richest(size.width, size.height, exposure);
            window = choice.window;
            if (choice.stars >= kEnough)
                return;
        }
}

std::optional<MosaicPhase> Session::mosaic() const {
    const TavoCapabilities& caps = camera.caps();
    if (options.mosaic || caps.colourType != COLOUR_BAYER)
        return options.mosaic;
    return MosaicPhase{static_cast<unsigned>(caps.offsetX), static_cast<unsigned>(caps.offsetY)};
}

void Session::plan() {
    constexpr unsigned kWidth = 800, kHeight = 600;
    const TavoCapabilities& caps = camera.caps();
    exposure = std::min(options.quick ? 0.6 : 1.5, 0.6 * caps.maxShortExposure);
    Size large{caps.pixelCountX * 15 / 16, caps.pixelCountY * 15 / 16};
    // Only square windows are sure to come without gaps from this family.
    if (camera.family() == HERON_CAMERA)
        large.width = large.height = std::min(large.width, large.height);
    Size small{std::min(kWidth, large.width), std::min(kHeight, large.height)};
    // These send whole frames whatever the window.
    if (camera.family() == HERON_CAMERA || camera.family() == GLINT_CAMERA)
        small = large;
    window = {(caps.pixelCountX - small.width) / 2, (caps.pixelCountY - small.height) / 2,
              small.width, small.height};
    if (options.sky)
        chooseWindow(small, large);
}

Comparison Session::compared(const Frame& frame) const {
    return compare(frame, stars->in(frame.window, shift, filter), stars->reach(frame.window),
                   frame.depth * unitsPerElectron.value_or(kTypicalUnitsPerElectron));
}

Comparison Session::expectSky(const Frame& frame) const {
    if (!stars) {
        Comparison plain;
        plain.sky = background(frame);
        expect(brightest(frame) > 0, "a picture", "nothing but zeros");
        return plain;
    }
    const Comparison seen = compared(frame);
    expect(seen.measurable >= kLeastStars, "at least 3 stars of the catalogue",
           std::to_string(seen.measurable) + ", background " + text(seen.sky.mean()) + ", noise " +
               text(seen.sky.noise) + ", " + text(seen.brightness) +
               " units for an electron a second");
    expect(nearlyAll(seen.inPlace, seen.measurable, 8), "stars where the catalogue has them",
           found(seen));
    expect(nearlyAll(seen.asBright, seen.measurable, 3),
           "stars as bright as the catalogue has them", found(seen));
    return seen;
}

std::string Session::expectSky(const Frame& frame, double seconds) const {
    const Comparison seen = expectSky(frame);
    if (!stars)
        return plainly(seen.sky);
    constexpr double kTolerance = 0.1;
    if (unitsPerElectron) {
        const double measured = secondsByLight(seen, frame);
        expect(std::abs(measured / seconds - 1) < kTolerance,
               "stars as bright as in " + text(seconds) + " s", "as in " + text(measured) + " s");
    }
    return summary(seen);
}

std::string Session::expectSky(const Frame& frame, const Duration& lasted) const {
    const Comparison seen = expectSky(frame);
    if (!stars)
        return plainly(seen.sky);
    if (!unitsPerElectron)
        return summary(seen);
    // The steps of an 8-bit picture are coarser than its noise: stars lose some of their edges.
    const double tolerance = frame.depth < 1 ? 0.2 : 0.08;
    const double seconds = secondsByLight(seen, frame);
    expect(seconds > lasted.least * (1 - tolerance) && seconds < lasted.most * (1 + tolerance),
           "stars as bright as in " + text(lasted.least) + " to " + text(lasted.most) + " s",
           "as in " + text(seconds) + " s");
    return summary(seen) + ", " + text(seconds) + " s by their light, " + text(lasted.least) +
           " to " + text(lasted.most) + " s by the clock";
}

double Session::secondsByLight(const Comparison& seen, const Frame& frame) const {
    return seen.brightness / (*unitsPerElectron * frame.depth);
}

std::string Session::plainly(const Background& sky) {
    return "background " + text(sky.mean()) + ", noise " + text(sky.noise);
}

} // namespace acceptance
