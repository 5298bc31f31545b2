// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Repeatable randomness: the same seed gives the same sky and the same noise on every machine.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tavo::virtualcamera {

// One well-mixed number from another; good for seeds.
constexpr std::uint64_t mix(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

class Random {
public:
    explicit constexpr Random(std::uint64_t seed) : state(mix(seed)) {}

    constexpr std::uint64_t next() {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return mix(state);
    }

    // At least 0, below 1.
    constexpr double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

private:
    std::uint64_t state;
};

// Normally distributed numbers for millions of pixels: a table of quantiles entered by the high
// bits of a linear congruential generator. The extremes lie near 3.8 standard deviations.
class GaussianNoise {
public:
    explicit GaussianNoise(std::uint64_t seed) : state(mix(seed)), table(quantiles()) {}

    float next() {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return table[state >> (64 - kBits)];
    }

private:
    static constexpr int kBits = 13;
    using Table = std::array<float, std::size_t{1} << kBits>;
    static const Table& quantiles();

    std::uint64_t state;
    const Table& table;
};

} // namespace tavo::virtualcamera
