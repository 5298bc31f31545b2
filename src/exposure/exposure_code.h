// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How a camera is told the length of a short exposure. Durations are narrowed to single precision
// first; everything after that is computed in double precision.
#pragma once

#include "core/conversion.h"

#include <algorithm>
#include <cstdint>

namespace tavo {

struct ExposureCode {
    std::uint32_t code = 0;
    bool microseconds = false; // what the code counts, where a family has a choice
    double wait = 0.0;         // the seconds that the code stands for
};

constexpr double narrowed(double seconds) {
    return static_cast<double>(static_cast<float>(seconds));
}

constexpr std::uint32_t low16(double value) {
    return static_cast<std::uint32_t>(truncateToInt32(value)) & 0xFFFF;
}

// Ticks of 3 MHz / 1024 in 12 bits.
constexpr ExposureCode heronExposureCode(double seconds) {
    const std::int32_t ticks =
        std::clamp(truncateToInt32(narrowed(seconds) * 3000000.0 / 1024.0), 1, 0xFFF);
    return {.code = static_cast<std::uint32_t>(ticks), .wait = ticks * 1024.0 / 3000000.0};
}

// Microseconds below 50 ms, milliseconds above. RIDGE and LUMEN.
constexpr ExposureCode ridgeExposureCode(double seconds) {
    const double t = narrowed(seconds);
    if (t < 0.05) {
        const std::uint32_t code = std::max(low16(t * 1000000.0 + 0.5), 1u);
        return {.code = code, .microseconds = true, .wait = code * 0.000001};
    }
    const std::uint32_t code = std::clamp(low16(t * 1000.0 + 0.5), 1u, 3000u);
    return {.code = code, .microseconds = false, .wait = code * 0.001};
}

// One byte: 1 to 9 are milliseconds, 10 to 255 stand for (code - 9) * 10 ms.
constexpr ExposureCode basinExposureCode(double seconds) {
    const double t = narrowed(seconds);
    const double exact = t < 0.01 ? t * 1000.0 + 0.5 : t * 100.0 + 9.5;
    const std::uint32_t code = std::clamp(low16(exact), 1u, 255u);
    return {.code = code, .wait = code <= 9 ? code * 0.001 : (code - 9) * 0.01};
}

static_assert(heronExposureCode(1.0).code == 2929 && heronExposureCode(2.0).code == 4095 &&
              heronExposureCode(0.0001).code == 1);
static_assert(ridgeExposureCode(0.04).code == 40000 && ridgeExposureCode(0.04).microseconds);
static_assert(ridgeExposureCode(0.05).code == 50 && !ridgeExposureCode(0.05).microseconds);
static_assert(ridgeExposureCode(5.0).code == 3000 && ridgeExposureCode(65.536).code == 1);
static_assert(basinExposureCode(0.005).code == 5 && basinExposureCode(0.5).code == 59 &&
              basinExposureCode(3.0).code == 255);

// The frame rates of a GLINT_CAMERA halve from 15 a second; for each, the longest exposure.
inline constexpr double maxShutter[] = {0.066657, 0.133282, 0.266282, 0.532782};

struct GlintTiming {
    bool tooLong = false;
    bool matched = false; // false also for exactly the longest exposure, which sets no rate
    float frameRate = 0.0f;
};

// Compared in single precision, in which a duration written like an entry is equal to it.
constexpr GlintTiming glintTiming(float seconds) {
    GlintTiming timing{.tooLong = seconds > static_cast<float>(maxShutter[3])};
    float rate = 15.0f;
    for (const double longest : maxShutter) {
        if (seconds < static_cast<float>(longest))
            return {.matched = true, .frameRate = rate};
        rate /= 2.0f;
    }
    return timing;
}

static_assert(glintTiming(0.1f).frameRate == 7.5f);
static_assert(!glintTiming(0.532782f).tooLong && !glintTiming(0.532782f).matched);
static_assert(glintTiming(0.6f).tooLong);

} // namespace tavo
