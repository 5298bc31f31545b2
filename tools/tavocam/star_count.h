// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_STAR_COUNT_H
#define TAVOCAM_STAR_COUNT_H

#include "frame.h"
#include "frame_statistics.h"

namespace tavocam {

// Counts groups of at least three touching pixels (sides or corners) that stand more than five
// deviations above the median. Single hot pixels are no stars.
std::size_t countStars(const Frame& frame, const Statistics& statistics);

} // namespace tavocam

#endif
