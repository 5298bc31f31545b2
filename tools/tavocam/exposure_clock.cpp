// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure_clock.h"

#include <algorithm>
#include <cmath>

namespace tavocam {
namespace {

// A 3 MHz clock divided by 1024, counted in 12 bits.
double heronExposure(double seconds) {
    return std::clamp(std::trunc(seconds * 3000000 / 1024), 1.0, 4095.0) * 1024 / 3000000;
}

// Milliseconds up to 9, then hundredths of a second.
double basinExposure(double seconds) {
    const double code =
        seconds < 0.01 ? std::trunc(seconds * 1000 + 0.5) : std::trunc(seconds * 100 + 9.5);
    const double limited = std::clamp(code, 1.0, 255.0);
    return limited <= 9 ? limited * 0.001 : (limited - 9) * 0.01;
}

// Microseconds for the shortest exposures, then milliseconds.
double microOrMilliseconds(double seconds) {
    if (seconds < 0.05)
        return std::max(std::trunc(seconds * 1000000 + 0.5), 1.0) * 0.000001;
    return std::clamp(std::trunc(seconds * 1000 + 0.5), 1.0, 3000.0) * 0.001;
}

} // namespace

double timedExposure(CAMERA_TYPE type, double seconds) {
    // The cameras' codes are made from a single-precision duration.
    const double narrowed = static_cast<float>(seconds);
    switch (type) {
    case BASIN_CAMERA: return basinExposure(narrowed);
    case RIDGE_CAMERA:
    case LUMEN_CAMERA: return microOrMilliseconds(narrowed);
    case HERON_CAMERA: return heronExposure(narrowed);
    case GLINT_CAMERA: break;
    }
    return seconds;
}

} // namespace tavocam
