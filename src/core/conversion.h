// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstdint>
#include <limits>

namespace tavo {

// Truncates toward zero. A value that does not fit, NaN included, gives 0x80000000: what x86
// processors answer; others saturate, and cameras must see the same bytes from every host.
constexpr std::int32_t truncateToInt32(double value) {
    constexpr double kBelow = -2147483649.0, kAbove = 2147483648.0;
    return value > kBelow && value < kAbove ? static_cast<std::int32_t>(value)
                                            : std::numeric_limits<std::int32_t>::min();
}

static_assert(truncateToInt32(-2.9) == -2 && truncateToInt32(2147483647.9) == 2147483647);
static_assert(truncateToInt32(2147483648.0) == std::numeric_limits<std::int32_t>::min());
static_assert(truncateToInt32(std::numeric_limits<double>::quiet_NaN()) ==
              std::numeric_limits<std::int32_t>::min());

} // namespace tavo
