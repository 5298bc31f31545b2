// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FRAME_STATISTICS_H
#define TAVOCAM_FRAME_STATISTICS_H

#include <cstdint>
#include <span>

namespace tavocam {

struct Statistics {
    std::uint16_t minimum = 0;
    std::uint16_t maximum = 0;
    double median = 0;
    double deviation = 0; // median absolute deviation, scaled to a standard deviation
};

// All zero for no pixels.
Statistics statisticsOf(std::span<const std::uint16_t> pixels);

} // namespace tavocam

#endif
