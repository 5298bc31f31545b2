// SPDX-License-Identifier: LGPL-2.1-or-later
#include "random.h"

#include <cmath>

namespace tavo::virtualcamera {

namespace {

double cumulative(double x) {
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

// Bisection is slow and exact, and runs once a process.
double quantile(double probability) {
    double low = -6.0;
    double high = 6.0;
    for (int i = 0; i < 40; ++i) {
        const double middle = 0.5 * (low + high);
        (cumulative(middle) < probability ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

} // namespace

const GaussianNoise::Table& GaussianNoise::quantiles() {
    static const Table table = [] {
        Table values{};
        for (std::size_t i = 0; i < values.size() / 2; ++i) {
            const double probability =
                (static_cast<double>(i) + 0.5) / static_cast<double>(values.size());
            values[i] = static_cast<float>(quantile(probability));
            values[values.size() - 1 - i] = -values[i];
        }
        return values;
    }();
    return table;
}

} // namespace tavo::virtualcamera
