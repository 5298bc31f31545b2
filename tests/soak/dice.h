// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Chance that comes out the same on every machine for the same seed, which the distributions of
// the standard library do not promise.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>

namespace tavo::soak {

class Dice {
public:
    // Different streams of one seed have nothing to do with each other.
    Dice(std::uint64_t seed, std::uint64_t stream) : generator(mix(seed * 4 + stream)) {}

    // 0 to limit - 1; `limit` is above 0.
    unsigned below(unsigned limit) { return static_cast<unsigned>(generator() % limit); }
    unsigned between(unsigned low, unsigned high) { return low + below(high - low + 1); }
    bool chance(double probability) { return fraction() < probability; }
    double fraction() { return static_cast<double>(generator() >> 11) * 0x1p-53; }
    // Small numbers as often as large ones of the same number of digits.
    double spread(double low, double high) { return low * std::pow(high / low, fraction()); }
    std::uint64_t any() { return generator(); }

    template <typename Array>
    auto pick(const Array& values) {
        return values[below(static_cast<unsigned>(std::size(values)))];
    }

private:
    static std::uint64_t mix(std::uint64_t value) {
        value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
        value = (value ^ value >> 27) * 0x94d049bb133111eb;
        return value ^ value >> 31;
    }

    std::mt19937_64 generator;
};

} // namespace tavo::soak
