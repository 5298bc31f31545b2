// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {
namespace {

bool sensor(TavoCamera& camera, Output& output) {
    constexpr float kBefore = -77.5f;
    float celsius = kBefore;
    const bool ok = camera.getTemperatureSensorStatus(0, &celsius);
    output.put(celsius, kBefore);
    return ok;
}

bool cooling(TavoCamera& camera, Output& output) {
    constexpr COOLING_STATE kStateBefore{};
    constexpr float kBefore = -77.5f;
    COOLING_STATE state = kStateBefore;
    float target = kBefore, power = kBefore;
    const bool ok = camera.getCoolingStatus(&state, &target, &power);
    output.put(state, kStateBefore);
    output.put(target, kBefore);
    output.put(power, kBefore);
    return ok;
}

} // namespace

std::vector<Operation> thermals() {
    return {
        {.name = "getTemperatureSensorStatus",
         .served = {BASIN_CAMERA, RIDGE_CAMERA, GLINT_CAMERA, LUMEN_CAMERA},
         .prepare = asItIs,
         .run = sensor,
         .failures = {"Failed to read temperature sensor status"},
         .refusal = "Failed to read temperature sensor status"},
        {.name = "getTemperatureSensorStatus (exposing)",
         .served = {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA},
         .prepare = exposing,
         .run = sensor,
         .failures = {"Failed to read temperature sensor status"},
         .succeeded = kExposing,
         .failed = kExposing,
         .servedOnly = true},
        {.name = "getCoolingStatus",
         .served = kCooled,
         .prepare = asItIs,
         .run = cooling,
         .failures = {"Failed to set cooling status"},
         .refusal = kUnsupported},
        {.name = "getCoolingStatus (no cooler)",
         .served = {},
         .prepare = bare,
         .run = cooling,
         .refusal = kUnsupported},
        {.name = "setCooling",
         .served = kCooled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setCooling(-10.0f); },
         .failures = {"Failed to set temperature"},
         .refusal = kUnsupported},
        {.name = "initiateWarmUp",
         .served = kCooled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.initiateWarmUp(); },
         .failures = {"Failed to initiate warmup"},
         .refusal = kUnsupported},
    };
}

} // namespace tavo::sweep
