// SPDX-License-Identifier: LGPL-2.1-or-later
#include "features.h"

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

struct Trait {
    const char* name;
    const char* unit;
    float low;
    float high;
    float automatic; // what the camera chooses itself
};

// In the order of the enumeration.
constexpr Trait kTraits[] = {
    {"brightness", " %", 0.0F, 6.25F, 0.0F},
    {"automatic exposure", "", 0.0F, 0.0F, 0.0F},
    {"gamma", "", 0.5F, 4.0F, 1.0F},
    {"shutter", " s", 0.00001F, 0.532782F, 0.01F},
    {"gain", " dB", 0.0F, 24.0F, 0.0F},
    {"frame rate", " frames a second", 1.875F, 15.0F, 15.0F},
};

const Trait& traitOf(Feature feature) {
    return kTraits[static_cast<std::size_t>(feature)];
}

struct Rate {
    float framesPerSecond;
    float longestShutter; // seconds
};

constexpr Rate kRates[] = {
    {15.0F, 0.066657F}, {7.5F, 0.133282F}, {3.75F, 0.266282F}, {1.875F, 0.532782F}};

// The fastest of the camera's rates that is not above the wanted one.
const Rate& rateFor(float wanted) {
    const Rate* rate = std::find_if(std::begin(kRates), std::end(kRates) - 1,
                                    [&](const Rate& r) { return r.framesPerSecond <= wanted; });
    return *rate;
}

} // namespace

const char* nameOf(Feature feature) {
    return traitOf(feature).name;
}

const char* unitOf(Feature feature) {
    return traitOf(feature).unit;
}

void Features::reset() {
    for (State& each : states)
        each.control = kPresent | kOn | kAutomatic;
    takeBack();
}

bool Features::setControl(Feature feature, std::uint32_t bits) {
    constexpr std::uint32_t known = kPresent | kAbsolute | kOn | kAutomatic;
    if ((bits & kPresent) == 0 || (bits & ~known) != 0)
        return false;
    state(feature).control = bits;
    takeBack();
    return true;
}

bool Features::manual(Feature feature) const {
    constexpr std::uint32_t inCharge = kPresent | kAbsolute | kOn;
    const bool followsExposure = feature == Feature::shutter || feature == Feature::gain;
    if (followsExposure && (control(Feature::autoExposure) & (kOn | kAutomatic)) != 0)
        return false;
    return control(feature) == inCharge;
}

// Whatever the host is not in charge of goes back to the camera's own choice.
void Features::takeBack() {
    for (std::size_t i = 0; i < kCount; ++i)
        if (const auto feature = static_cast<Feature>(i); !manual(feature))
            state(feature).value = traitOf(feature).automatic;
    fitShutter();
}

void Features::fitShutter() {
    const Rate& rate = rateFor(value(Feature::frameRate));
    float& shutter = state(Feature::shutter).value;
    shutter = std::min(shutter, rate.longestShutter);
}

std::optional<float> Features::setValue(Feature feature, float wanted) {
    if (!manual(feature) || std::isnan(wanted))
        return std::nullopt;
    float& held = state(feature).value;
    held = std::clamp(wanted, traitOf(feature).low, traitOf(feature).high);
    if (feature == Feature::frameRate)
        held = rateFor(held).framesPerSecond;
    fitShutter();
    return held;
}

} // namespace tavo::virtualcamera
