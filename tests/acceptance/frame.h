// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A picture as it came from the camera, and its plain statistics.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace acceptance {

// A rectangle of the sensor in unbinned pixels.
struct Window {
    unsigned x, y, width, height;
    unsigned binX = 1, binY = 1;

    // The same piece of sky at another binning: edges that lie between binned pixels move inwards.
    Window binned(unsigned newBinX, unsigned newBinY) const;
};

struct Frame {
    Window window;
    unsigned width = 0, height = 0;
    std::vector<unsigned short> pixels;
    unsigned quantum = 1; // the smallest difference between two pixels
    unsigned white = 65535;
    double depth = 1; // share of a unit of 16-bit pixels

    double at(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x]; }
};

// What lies under the stars. Columns and rows of even distance look through the same colour of a
// mosaic, so each of the four kinds of pixels has a level of its own.
struct Background {
    std::array<double, 4> levels{};
    double noise = 0; // standard deviation of a pixel

    double at(unsigned x, unsigned y) const { return levels[(y & 1) * 2 + (x & 1)]; }
    double mean() const { return (levels[0] + levels[1] + levels[2] + levels[3]) / 4; }
};

Background background(const Frame& frame);

unsigned brightest(const Frame& frame);

double median(std::vector<double> values);

} // namespace acceptance
