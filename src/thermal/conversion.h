// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Raw sensor readings and degrees Celsius. Single precision in this order of operations, so that
// every host sends the same set-point.
#pragma once

#include "core/conversion.h"

#include <cfloat>
#include <cstdint>

namespace tavo {

static_assert(FLT_EVAL_METHOD == 0, "sums of floats are to be floats, not of a higher precision");

// How the analogue-to-digital converter behind a temperature sensor counts.
namespace sensortype {
inline constexpr std::uint32_t kUnknown = 0;
inline constexpr std::uint32_t k10Bit = 1;
inline constexpr std::uint32_t k12Bit = 2;
} // namespace sensortype

// The sensors span -60 °C at 0 to 270 °C at full scale. 0 for a kind that is not known.
constexpr float fullScale(std::uint32_t type) {
    switch (type) {
    case sensortype::k10Bit: return 1023.0f;
    case sensortype::k12Bit: return 4095.0f;
    default: return 0.0f;
    }
}

constexpr float rawToCelsius(std::uint32_t type, std::int32_t raw) {
    const float scale = fullScale(type);
    return scale == 0.0f ? 0.0f : static_cast<float>(raw) * 330.0f / scale - 60.0f;
}

constexpr std::uint32_t celsiusToRaw(std::uint32_t type, float celsius) {
    const float scale = fullScale(type);
    if (scale == 0.0f)
        return 0;
    const float raw = (60.0f + celsius) * scale / 330.0f + 0.5f;
    return static_cast<std::uint32_t>(truncateToInt32(double{raw}));
}

static_assert(celsiusToRaw(sensortype::k12Bit, -10.0f) == 620);
static_assert(celsiusToRaw(sensortype::k10Bit, -60.0f) == 0);
static_assert(rawToCelsius(sensortype::k10Bit, 1023) == 270.0f);

} // namespace tavo
