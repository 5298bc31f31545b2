// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {
namespace {

bool wheel(TavoCamera& camera, Output& output) {
    constexpr unsigned kBefore = 77777;
    unsigned count = kBefore, current = kBefore, target = kBefore;
    bool moving = true;
    const bool ok = camera.getFilterWheelStatus(&count, &moving, &current, &target);
    output.put(count, kBefore);
    output.put(moving, true);
    output.put(current, kBefore);
    output.put(target, kBefore);
    return ok;
}

// What the lines are after a failure is not told.
bool lines(TavoCamera& camera, Output& output) {
    unsigned short value = 0;
    const bool ok = camera.getGPIO(&value);
    output.put(ok ? value : static_cast<unsigned short>(0));
    return ok;
}

bool gain(TavoCamera& camera, Output& output) {
    constexpr int kBefore = -77777;
    int level = kBefore, offset = kBefore;
    const bool ok = camera.getGain(&level, &offset);
    output.put(level, kBefore);
    output.put(offset, kBefore);
    return ok;
}

} // namespace

std::vector<Operation> accessories() {
    return {
        {.name = "getFilterWheelStatus",
         .served = kWheeled,
         .prepare = asItIs,
         .run = wheel,
         .failures = {"Failed to get filter wheel status"},
         .refusal = kUnsupported},
        {.name = "setFilter",
         .served = kWheeled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setFilter(2); },
         .failures = {"Failed to set filter"},
         .refusal = kUnsupported},
        {.name = "getFilterWheelStatus (none)",
         .served = {},
         .prepare = bare,
         .run = wheel,
         .refusal = kUnsupported},
        {.name = "setGuideRelays",
         .served = {RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGuideRelays(0x05); },
         .failures = {"Failed to set guide relays"},
         .refusal = kUnsupported},
        {.name = "setGuideRelays (no port)",
         .served = {},
         .prepare = bare,
         .run = [](TavoCamera& camera, Output&) { return camera.setGuideRelays(0x05); },
         .refusal = kUnsupported},
        {.name = "setGPIODirection",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGPIODirection(3); },
         .failures = {"Failed to set GPIO direction"},
         .refusal = kUnsupported},
        {.name = "getGPIO",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = lines,
         .failures = {"Failed to get GPIO"},
         .refusal = kUnsupported},
        {.name = "setGPIO",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGPIO(1); },
         .failures = {"Failed to set GPIO"},
         .refusal = kUnsupported},
        {.name = "getGPIO (no lines)",
         .served = {},
         .prepare = bare,
         .run = lines,
         .refusal = kUnsupported},
        {.name = "getGain",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = gain,
         .failures = {nullptr},
         .refusal = kUnsupported,
         .refusalIsSuccess = true},
        {.name = "setGain",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGain(10, 100); },
         .failures = {nullptr, "Failed to set gain"},
         .refusal = kUnsupported,
         .refusalIsSuccess = true},
    };
}

} // namespace tavo::sweep
