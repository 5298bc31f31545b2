// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a host may set of the picture, each by two registers: control bits that say who is in
// charge, and a value in its own unit that counts only while the host is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tavo::virtualcamera {

enum class Feature { brightness, autoExposure, gamma, shutter, gain, frameRate };

class Features {
public:
    static constexpr std::uint32_t kPresent = 0x80000000;
    static constexpr std::uint32_t kAbsolute = 0x40000000; // the value register counts
    static constexpr std::uint32_t kOn = 0x02000000;
    static constexpr std::uint32_t kAutomatic = 0x01000000;

    Features() { reset(); }
    // As at power-up: the camera is in charge of everything.
    void reset();

    // False, and nothing changes, when the bits mean nothing to the camera.
    bool setControl(Feature feature, std::uint32_t bits);
    std::uint32_t control(Feature feature) const { return state(feature).control; }

    // Whether the host is in charge. Over the shutter and the gain it is only once automatic
    // exposure is off.
    bool manual(Feature feature) const;

    // What the camera makes of the value, which lies within its limits; nothing when the host is
    // not in charge or the value is not a number.
    std::optional<float> setValue(Feature feature, float value);
    // Seconds, frames a second, decibels and per cent of the range.
    float value(Feature feature) const { return state(feature).value; }

private:
    static constexpr std::size_t kCount = 6;
    struct State {
        std::uint32_t control;
        float value;
    };

    State& state(Feature feature) { return states[static_cast<std::size_t>(feature)]; }
    const State& state(Feature feature) const { return states[static_cast<std::size_t>(feature)]; }
    void takeBack();
    void fitShutter();

    std::array<State, kCount> states{};
};

const char* nameOf(Feature feature);
const char* unitOf(Feature feature);

} // namespace tavo::virtualcamera
