// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

struct Span {
    unsigned start, length;
};

Span inward(unsigned start, unsigned length, unsigned bin) {
    const unsigned first = (start + bin - 1) / bin * bin;
    return {first, (start + length - first) / bin * bin};
}

struct Level {
    double mean, deviation;
};

// Mean of what lies near the median: stars and hot pixels are few and far above it. A mean, unlike
// the median, is finer than the steps of an 8-bit frame.
Level levelOf(const std::vector<double>& values, double quantum) {
    const double middle = median(values);
    std::vector<double> distances;
    distances.reserve(values.size());
    for (const double value : values)
        distances.push_back(std::abs(value - middle));
    const double reach = 2.5 * std::max(1.4826 * median(std::move(distances)), quantum);
    double sum = 0, squares = 0, count = 0;
    for (const double value : values)
        if (std::abs(value - middle) <= reach) {
            sum += value - middle;
            squares += (value - middle) * (value - middle);
            ++count;
        }
    const double mean = sum / count;
    return {middle + mean, std::sqrt(std::max(0.0, squares / count - mean * mean))};
}

} // namespace

Window Window::binned(unsigned newBinX, unsigned newBinY) const {
    const Span across = inward(x, width, newBinX), down = inward(y, height, newBinY);
    return {across.start, down.start, across.length, down.length, newBinX, newBinY};
}

Background background(const Frame& frame) {
    // Some hundred thousand pixels are enough for a level better than a tenth of a unit.
    constexpr std::size_t kEnough = 400000;
    const auto stride = static_cast<unsigned>(1 + frame.pixels.size() / kEnough);
    Background result;
    double variance = 0;
    for (unsigned kind = 0; kind < 4; ++kind) {
        std::vector<double> values;
        for (unsigned y = kind / 2; y < frame.height; y += 2 * stride)
            for (unsigned x = kind % 2; x < frame.width; x += 2)
                values.push_back(frame.at(x, y));
        if (values.empty())
            continue;
        const Level level = levelOf(values, frame.quantum);
        result.levels[kind] = level.mean;
        variance += level.deviation * level.deviation / 4;
    }
    // Even a frame without noise is uncertain by the steps of its pixels.
    result.noise = std::max(std::sqrt(variance), 0.3 * frame.quantum);
    return result;
}

unsigned brightest(const Frame& frame) {
    return frame.pixels.empty() ? 0 : *std::max_element(frame.pixels.begin(), frame.pixels.end());
}

double median(std::vector<double> values) {
    if (values.empty())
        return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace acceptance
