// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Finds by how much a field of stars has moved, without being told where to look.
#pragma once

#include "expected_stars.h"
#include "frame.h"

#include <optional>

namespace acceptance {

struct FieldSearch {
    const ExpectedStars& stars;
    tavo::virtualcamera::Passband filter;
    PixelOffset around; // unbinned pixels
    unsigned farthest;  // binned pixels, in each direction
    double brightness;  // units for an electron a second
    double unitsPerElectron;
};

// The shift at which most stars of the catalogue meet light, good to a fraction of a pixel; none
// when no shift makes most of them do.
std::optional<PixelOffset> findShift(const Frame& frame, const FieldSearch& search);

} // namespace acceptance
