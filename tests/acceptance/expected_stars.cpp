// SPDX-License-Identifier: LGPL-2.1-or-later
#include "expected_stars.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

using tavo::virtualcamera::Passband;
using tavo::virtualcamera::Star;

namespace {

constexpr double kFocalLength = 0.5; // metres
constexpr double kArcsecondsPerRadian = 206264.806;
constexpr double kStarImage = 2.8;     // arcseconds, standard deviation
constexpr double kDeviations = 3.0;    // of a star's image that are measured
constexpr double kSkyBackground = 0.4; // electrons a second and square arcsecond
constexpr double kDisturbance = 0.02;  // share of light that a neighbour may add

double pixelScale(double micrometres) {
    return kArcsecondsPerRadian * micrometres * 1e-6 / kFocalLength;
}

// Beside the pixel that the star is in: the box ends no nearer to the star than that.
unsigned reachOf(double arcsecondsPerPixel) {
    return static_cast<unsigned>(std::ceil(kDeviations * kStarImage / arcsecondsPerPixel));
}

// Stars brightest first. Each is alone when what lies in its surroundings is faint beside it.
void markAlone(std::vector<ExpectedStar>& stars, const Reach& reach) {
    for (ExpectedStar& star : stars) {
        double beside = -star.electrons;
        for (const ExpectedStar& other : stars)
            if (std::abs(other.x - star.x) < 2 * reach.x + 1 &&
                std::abs(other.y - star.y) < 2 * reach.y + 1)
                beside += other.electrons;
        star.alone = beside < kDisturbance * star.electrons;
    }
}

} // namespace

ExpectedStars::ExpectedStars(std::uint64_t seed, const TavoCapabilities& caps,
                             const Sensor& sensor_)
    : field(seed), sensor(sensor_), scaleX(pixelScale(caps.pixelSizeX)),
      scaleY(pixelScale(caps.pixelSizeY)) {}

Reach ExpectedStars::reach(const Window& window) const {
    return {reachOf(scaleX * window.binX), reachOf(scaleY * window.binY)};
}

// The middle of the field falls on the middle of the sensor.
ExpectedStars::Place ExpectedStars::project(const Star& star, const PixelOffset& shift) const {
    return {star.place.x / scaleX + 0.5 * sensor.width + shift.x,
            star.place.y / scaleY + 0.5 * sensor.height + shift.y};
}

// A star's light spreads over all colours of the mosaic alike.
double ExpectedStars::electrons(const Star& star, const Passband& filter) const {
    double share = 0;
    for (unsigned kind = 0; kind < 4; ++kind)
        share +=
            behind(filter, sensor.mosaic.passbandAt(kind % 2, kind / 2)).ofStar(star.colour) / 4;
    return star.flux * share;
}

double ExpectedStars::skyElectrons(const Window& window, const Passband& filter) const {
    double share = 0;
    for (unsigned kind = 0; kind < 4; ++kind)
        share += behind(filter, sensor.mosaic.passbandAt(kind % 2, kind / 2)).ofSky() / 4;
    return kSkyBackground * share * scaleX * window.binX * scaleY * window.binY;
}

std::vector<ExpectedStar> ExpectedStars::in(const Window& window, const PixelOffset& shift,
                                            const Passband& filter) const {
    const Reach margin = reach(window);
    const double columns = window.width / window.binX, rows = window.height / window.binY;
    std::vector<ExpectedStar> around;
    for (const Star& star : field.stars()) {
        const Place place = project(star, shift);
        const double x = (place.column - window.x) / window.binX - 0.5;
        const double y = (place.row - window.y) / window.binY - 0.5;
        if (x > -3.0 * margin.x && x < columns + 3.0 * margin.x && y > -3.0 * margin.y &&
            y < rows + 3.0 * margin.y)
            around.push_back({x, y, electrons(star, filter), star.colour, true});
    }
    std::sort(around.begin(), around.end(), [](const ExpectedStar& a, const ExpectedStar& b) {
        return a.electrons > b.electrons;
    });
    markAlone(around, margin);
    const auto atEdge = [&](const ExpectedStar& star) {
        return star.x < margin.x + 1.0 || star.x > columns - margin.x - 2.0 ||
               star.y < margin.y + 1.0 || star.y > rows - margin.y - 2.0;
    };
    around.erase(std::remove_if(around.begin(), around.end(), atEdge), around.end());
    return around;
}

// Stars bright enough to be measured well, and faint enough not to saturate.
std::vector<ExpectedStar> ExpectedStars::measurable(double seconds) const {
    // A good camera's noise of reading a pixel, and the light that a binned one can hold.
    constexpr double kReadNoise = 10, kSignal = 13, kMostElectrons = 16000;
    const Window whole{0, 0, sensor.width, sensor.height};
    const Reach box = reach(whole);
    const double noise = kReadNoise * std::sqrt((2.0 * box.x + 1) * (2.0 * box.y + 1));
    auto found = in(whole, {}, {1, 1, 1});
    std::erase_if(found, [&](const ExpectedStar& star) {
        const double electrons = star.electrons * seconds;
        return !star.alone || electrons < kSignal * noise || electrons > kMostElectrons;
    });
    return found;
}

ExpectedStars::Choice ExpectedStars::richest(unsigned windowWidth, unsigned windowHeight,
                                             double seconds) const {
    constexpr unsigned kStep = 48;
    constexpr double kMargin = 12;
    const auto found = measurable(seconds);
    Choice best{{0, 0, windowWidth, windowHeight}, 0};
    // Odd edges show whether a window starts where it was asked to.
    for (unsigned y = 1; y + windowHeight <= sensor.height; y += kStep)
        for (unsigned x = 1; x + windowWidth <= sensor.width; x += kStep) {
            const auto count = static_cast<unsigned>(
                std::count_if(found.begin(), found.end(), [&](const ExpectedStar& star) {
                    return star.x > x + kMargin && star.x + kMargin < x + windowWidth &&
                           star.y > y + kMargin && star.y + kMargin < y + windowHeight;
                }));
            if (count >= best.stars)
                best = {{x, y, windowWidth, windowHeight}, count};
        }
    return best;
}

} // namespace acceptance
