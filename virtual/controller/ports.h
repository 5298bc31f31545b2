// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The controller's five 8-bit ports.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tavo::virtualcamera {

class Ports {
public:
    static constexpr std::size_t kCount = 5;
    static constexpr std::size_t kPairBytes = 2 * kCount; // an AND mask and an OR value a port
    using Values = std::array<std::uint8_t, kCount>;

    // REQUIRES: pairs has kPairBytes bytes.
    void changeStates(std::span<const std::uint8_t> pairs) { apply(pairs, states); }
    void changeDirections(std::span<const std::uint8_t> pairs) { apply(pairs, directions); }

    // What the pins show: an output its state, an input the level that it is held at.
    Values levels() const;
    void hold(std::size_t line, bool level);
    const Values& outputStates() const { return states; }
    const Values& outputDirections() const { return directions; }

private:
    static void apply(std::span<const std::uint8_t> pairs, Values& values);

    Values states{};
    Values directions{}; // 1: output
    Values inputs{};
};

} // namespace tavo::virtualcamera
