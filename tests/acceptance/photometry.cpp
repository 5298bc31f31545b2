// SPDX-License-Identifier: LGPL-2.1-or-later
#include "photometry.h"

#include "report.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

constexpr double kMeasurable = 10; // signal over noise
constexpr double kHalfPixel = 0.5;
constexpr double kTolerance = 0.1; // of a star's brightness, for the edges of its image
constexpr std::size_t kCalibrators = 5;

struct Moments {
    double light = 0, x = 0, y = 0, peak = 0;
};

// Of the box around a pixel. REQUIRES: it lies within the frame.
Moments momentsOf(const Frame& frame, const Background& sky, unsigned x, unsigned y,
                  const Reach& reach) {
    Moments sums;
    for (unsigned row = y - reach.y; row <= y + reach.y; ++row)
        for (unsigned column = x - reach.x; column <= x + reach.x; ++column) {
            const double value = frame.at(column, row) - sky.at(column, row);
            sums.light += value;
            sums.x += value * column;
            sums.y += value * row;
            sums.peak = std::max(sums.peak, value);
        }
    return sums;
}

bool isInside(const Frame& frame, double x, double y, const Reach& reach) {
    return x >= reach.x && y >= reach.y && x + reach.x < frame.width && y + reach.y < frame.height;
}

struct Sighting {
    ExpectedStar star;
    Light light;
};

double boxNoise(const Background& sky, const Reach& reach) {
    return sky.noise * std::sqrt((2.0 * reach.x + 1) * (2.0 * reach.y + 1));
}

// Pixels may be full well below the largest number, but not below a quarter of it.
double ceilingOf(const Frame& frame, const Background& sky) {
    return std::max(0.25 * frame.white,
                    0.6 * (std::min(brightest(frame), frame.white) - sky.mean()));
}

// The stars that are alone and not saturated.
std::vector<Sighting> sightings(const Frame& frame, const Background& sky,
                                const std::vector<ExpectedStar>& stars, const Reach& reach) {
    const double ceiling = ceilingOf(frame, sky);
    std::vector<Sighting> result;
    for (const ExpectedStar& star : stars)
        if (star.alone)
            if (const auto light = measure(frame, sky, star.x, star.y, reach);
                light && light->peak < ceiling)
                result.push_back({star, *light});
    return result;
}

// From the brightest stars, whose middle value is not misled by a few hot pixels.
double brightnessOf(const std::vector<Sighting>& seen) {
    std::vector<double> ratios;
    for (const Sighting& sighting : seen) {
        if (ratios.size() == kCalibrators)
            break;
        ratios.push_back(sighting.light.units / sighting.star.electrons);
    }
    return median(std::move(ratios));
}

} // namespace

// The place comes from the middle of a star's image alone, where its light is well above the noise.
// A second look, from where the first one found it, is not drawn to where it was expected.
std::optional<Light> measure(const Frame& frame, const Background& sky, double x, double y,
                             const Reach& reach) {
    const Reach middle{std::max(1u, reach.x * 2 / 3), std::max(1u, reach.y * 2 / 3)};
    Light light{x, y, 0, 0};
    for (int look = 0; look < 2; ++look) {
        const double column = std::round(light.x), row = std::round(light.y);
        if (!isInside(frame, column, row, reach))
            return std::nullopt;
        const auto atX = static_cast<unsigned>(column), atY = static_cast<unsigned>(row);
        light.units = momentsOf(frame, sky, atX, atY, reach).light;
        const Moments inner = momentsOf(frame, sky, atX, atY, middle);
        light.peak = inner.peak;
        const double foundX = inner.x / inner.light, foundY = inner.y / inner.light;
        if (inner.light <= 0 || std::abs(foundX - column) > middle.x ||
            std::abs(foundY - row) > middle.y)
            break;
        light.x = foundX;
        light.y = foundY;
    }
    return light;
}

Comparison compare(const Frame& frame, const std::vector<ExpectedStar>& stars, const Reach& reach,
                   double unitsPerElectron) {
    Comparison result;
    result.sky = background(frame);
    const auto seen = sightings(frame, result.sky, stars, reach);
    const double guess = brightnessOf(seen), boxed = boxNoise(result.sky, reach);
    std::vector<double> offsetsX, offsetsY, distances;
    double units = 0, electrons = 0;
    for (const Sighting& sighting : seen) {
        const double expected = guess * sighting.star.electrons;
        const double noise =
            std::hypot(boxed, std::sqrt(std::max(0.0, expected) * unitsPerElectron));
        if (expected < kMeasurable * noise || sighting.light.units <= 0)
            continue;
        ++result.measurable;
        offsetsX.push_back(sighting.light.x - sighting.star.x);
        offsetsY.push_back(sighting.light.y - sighting.star.y);
        distances.push_back(std::hypot(offsetsX.back(), offsetsY.back()));
        result.inPlace += distances.back() < kHalfPixel;
        if (std::abs(sighting.light.units - expected) > kTolerance * expected + 4 * noise)
            continue;
        ++result.asBright;
        units += sighting.light.units;
        electrons += sighting.star.electrons;
    }
    result.brightness = electrons > 0 ? units / electrons : guess;
    result.offset = {median(std::move(offsetsX)), median(std::move(offsetsY))};
    result.scatter = median(std::move(distances));
    return result;
}

std::string summary(const Comparison& comparison) {
    return std::to_string(comparison.inPlace) + " of " + std::to_string(comparison.measurable) +
           " stars in place (off by " + text(comparison.scatter) + " pixels), " +
           std::to_string(comparison.asBright) + " as bright as they should be";
}

} // namespace acceptance
