// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame_statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace tavocam {
namespace {

// The ratio of standard deviation to median absolute deviation of normally distributed values.
constexpr double kDeviationScale = 1.4826;

// How many pixels hold each value.
using Histogram = std::vector<std::size_t>;
constexpr std::size_t kValueCount = 65536;

// The value at a rank, counted from 0, in ascending order.
std::size_t valueAt(const Histogram& histogram, std::size_t rank) {
    std::size_t below = 0;
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        below += histogram[value];
        if (rank < below)
            return value;
    }
    return histogram.size() - 1;
}

double medianOf(const Histogram& histogram, std::size_t count) {
    const std::size_t lower = valueAt(histogram, (count - 1) / 2);
    const std::size_t upper = valueAt(histogram, count / 2);
    return static_cast<double>(lower + upper) / 2;
}

double medianDeviation(const Histogram& histogram, double median, std::size_t count) {
    // Medians may fall on halves; counting in half steps keeps the distances whole.
    Histogram distances(2 * kValueCount);
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        const double distance = std::abs(static_cast<double>(value) - median);
        distances[static_cast<std::size_t>(distance * 2)] += histogram[value];
    }
    return medianOf(distances, count) / 2;
}

// The step that all values are multiples of: 1 for most cameras, 256 for 8-bit samples in the high
// byte.
std::size_t granularity(const Histogram& histogram) {
    std::size_t step = 0;
    for (std::size_t value = 0; value < histogram.size() && step != 1; ++value) {
        if (histogram[value] > 0)
            step = std::gcd(step, value);
    }
    return step;
}

} // namespace

Statistics statisticsOf(std::span<const std::uint16_t> pixels) {
    if (pixels.empty())
        return {};
    Histogram histogram(kValueCount);
    for (const std::uint16_t pixel : pixels)
        ++histogram[pixel];
    Statistics statistics;
    statistics.minimum = static_cast<std::uint16_t>(valueAt(histogram, 0));
    statistics.maximum = static_cast<std::uint16_t>(valueAt(histogram, pixels.size() - 1));
    statistics.median = medianOf(histogram, pixels.size());
    // When more than half of the pixels share one value their median deviation is 0 although there
    // may be noise of up to half a step each way.
    statistics.deviation =
        kDeviationScale * std::max(medianDeviation(histogram, statistics.median, pixels.size()),
                                   static_cast<double>(granularity(histogram)) / 2);
    return statistics;
}

} // namespace tavocam
