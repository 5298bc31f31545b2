// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Pictures taken through the driver, and what can be measured in them.
#pragma once

#include <cstdint>
#include <vector>

struct Frame {
    unsigned width = 0, height = 0;
    std::vector<unsigned short> pixels;

    unsigned short at(unsigned x, unsigned y) const { return pixels[y * width + x]; }
};

struct Star {
    double x, y;  // centroid; pixel centres lie at whole numbers
    double light; // digital units above the background
};

double median(std::vector<double> values);
double background(const Frame& frame);
// Median absolute deviation, scaled to a standard deviation.
double noise(const Frame& frame);

// The `most` brightest stars that are neither saturated nor hot pixels, brightest first.
std::vector<Star> brightestStars(const Frame& frame, unsigned most);

// The star nearest to a place, within `reach` pixels; light 0 where there is none.
Star nearestStar(const std::vector<Star>& stars, double x, double y, double reach);
