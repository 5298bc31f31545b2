// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kRadius = 5;           // pixels around a star's peak
constexpr double kSaturated = 60000; // digital units

bool isPeak(const Frame& frame, unsigned x, unsigned y) {
    const unsigned short value = frame.at(x, y);
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const unsigned short other =
                frame.at(x + static_cast<unsigned>(dx), y + static_cast<unsigned>(dy));
            if (other > value || (other == value && (dy < 0 || (dy == 0 && dx < 0))))
                return false;
        }
    return true;
}

// A hot pixel has dark neighbours; a star's light spreads.
bool isSpread(const Frame& frame, unsigned x, unsigned y, double level, double threshold) {
    const double peak = frame.at(x, y) - level;
    const double beside = frame.at(x - 1, y) + frame.at(x + 1, y) + frame.at(x, y - 1) +
                          frame.at(x, y + 1) - 4 * level;
    return beside > 4 * threshold && beside > 0.8 * peak;
}

Star measure(const Frame& frame, unsigned x, unsigned y, double level) {
    double light = 0, momentX = 0, momentY = 0;
    for (int dy = -kRadius; dy <= kRadius; ++dy)
        for (int dx = -kRadius; dx <= kRadius; ++dx) {
            const double value =
                frame.at(x + static_cast<unsigned>(dx), y + static_cast<unsigned>(dy)) - level;
            light += value;
            momentX += value * dx;
            momentY += value * dy;
        }
    return {x + momentX / light, y + momentY / light, light};
}

} // namespace

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double background(const Frame& frame) {
    return median({frame.pixels.begin(), frame.pixels.end()});
}

double noise(const Frame& frame) {
    const double level = background(frame);
    std::vector<double> deviations;
    deviations.reserve(frame.pixels.size());
    for (const unsigned short pixel : frame.pixels)
        deviations.push_back(std::abs(pixel - level));
    return 1.4826 * median(std::move(deviations));
}

std::vector<Star> brightestStars(const Frame& frame, unsigned most) {
    const double level = background(frame), threshold = 4 * noise(frame);
    std::vector<Star> stars;
    for (unsigned y = kRadius; y + kRadius < frame.height; ++y)
        for (unsigned x = kRadius; x + kRadius < frame.width; ++x) {
            const double value = frame.at(x, y);
            if (value > level + 3 * threshold && value < kSaturated && isPeak(frame, x, y) &&
                isSpread(frame, x, y, level, threshold))
                stars.push_back(measure(frame, x, y, level));
        }
    std::sort(stars.begin(), stars.end(),
              [](const Star& a, const Star& b) { return a.light > b.light; });
    if (stars.size() > most)
        stars.resize(most);
    return stars;
}

Star nearestStar(const std::vector<Star>& stars, double x, double y, double reach) {
    Star nearest{0, 0, 0};
    for (const Star& star : stars)
        if (const double distance = std::hypot(star.x - x, star.y - y); distance < reach) {
            reach = distance;
            nearest = star;
        }
    return nearest;
}
