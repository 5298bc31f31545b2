// SPDX-License-Identifier: LGPL-2.1-or-later
#include "sensor.h"

#include "random.h"

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr double kReferenceTemperature = 20.0; // degrees Celsius
constexpr double kDoubling = 6.0;              // degrees for twice the dark current
constexpr double kHotShare = 0.0002;
constexpr double kMeanHotCurrent = 300.0;

} // namespace

double darkCurrentFactor(double celsius) {
    return std::exp2((celsius - kReferenceTemperature) / kDoubling);
}

std::vector<HotPixel> hotPixels(const Sensor& sensor, std::uint64_t seed) {
    Random random{seed};
    const double pixels = static_cast<double>(sensor.width) * sensor.height;
    std::vector<HotPixel> result(static_cast<std::size_t>(pixels * kHotShare));
    for (HotPixel& pixel : result) {
        pixel.column = static_cast<unsigned>(random.uniform() * sensor.width);
        pixel.row = static_cast<unsigned>(random.uniform() * sensor.height);
        pixel.current = static_cast<float>(-kMeanHotCurrent * std::log(1.0 - random.uniform()));
    }
    std::sort(result.begin(), result.end(),
              [](const HotPixel& a, const HotPixel& b) { return a.row < b.row; });
    return result;
}

} // namespace tavo::virtualcamera
