// SPDX-License-Identifier: LGPL-2.1-or-later
#include "thermal/conversion.h"

#include "core/assertions.h"
#include "tavocameraimpl.h"

namespace {

// Converting before the camera has named its kind of sensor would send a wrong set-point to a
// cooler; the process ends instead.
void requireSensorType(std::uint32_t sensorType, int line) {
    if (sensorType == tavo::sensortype::kUnknown)
        tavo::failAssertion("tempSensorType!=0", line);
}

constexpr int kToCelsiusLine = 1687;
constexpr int kToSensorLine = 1701;

} // namespace

float TavoCameraImpl::sensorToCelsius(std::int32_t raw) {
    requireSensorType(tempSensorType, kToCelsiusLine);
    return tavo::rawToCelsius(tempSensorType, raw);
}

std::uint32_t TavoCameraImpl::celsiusToSensor(float celsius) {
    requireSensorType(tempSensorType, kToSensorLine);
    return tavo::celsiusToRaw(tempSensorType, celsius);
}
