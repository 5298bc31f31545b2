// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Compares the stars of a picture with those of the catalogue.
#pragma once

#include "expected_stars.h"
#include "frame.h"

#include <optional>
#include <string>
#include <vector>

namespace acceptance {

struct Light {
    double x, y;  // centroid, binned pixels
    double units; // above the background
    double peak;  // brightest pixel above the background
};

// What is found in a box around a place, or nothing when the box is not within the frame.
std::optional<Light> measure(const Frame& frame, const Background& sky, double x, double y,
                             const Reach& reach);

struct Comparison {
    unsigned measurable = 0; // stars alone, unsaturated, and bright enough to be seen for sure
    unsigned inPlace = 0;    // of these: not farther off than half a pixel
    unsigned asBright = 0;   // of these: as bright as the others make expect
    double brightness = 0;   // units in the picture for an electron a second in the catalogue
    PixelOffset offset;      // binned pixels, of the whole field
    double scatter = 0;      // binned pixels, median distance of a star from its place
    Background sky;
};

// `unitsPerElectron` tells how large the light's own noise is.
Comparison compare(const Frame& frame, const std::vector<ExpectedStar>& stars, const Reach& reach,
                   double unitsPerElectron);

std::string summary(const Comparison& comparison);

} // namespace acceptance
