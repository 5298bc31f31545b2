// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A CCD as the renderer sees it: its geometry behind a fixed telescope and its physics.
#pragma once

#include "star_field.h"

#include <cstdint>
#include <vector>

namespace tavo::virtualcamera {

struct Sensor {
    unsigned width;
    unsigned height;
    double pixelWidth; // micrometres
    double pixelHeight;
    double gain = 0.4;         // electrons a digital unit
    double bias = 1000.0;      // digital units
    double readNoise = 8.0;    // electrons
    double fullWell = 28000.0; // electrons a pixel
    double darkCurrent = 1.0;  // electrons a second and pixel at the reference temperature
    Mosaic mosaic = {};

    static constexpr double kFocalLength = 500.0; // millimetres
    double arcsecondsPerColumn() const { return 206.265 * pixelWidth / kFocalLength; }
    double arcsecondsPerRow() const { return 206.265 * pixelHeight / kFocalLength; }
    // Where the light from a direction falls; whole numbers are the edges of pixels.
    double columnOf(const Pointing& place) const {
        return place.x / arcsecondsPerColumn() + 0.5 * width;
    }
    double rowOf(const Pointing& place) const {
        return place.y / arcsecondsPerRow() + 0.5 * height;
    }
};

// Dark current, hot pixels included, grows by this factor over the reference temperature.
double darkCurrentFactor(double celsius);

struct HotPixel {
    unsigned column;
    unsigned row;
    float current; // electrons a second at the reference temperature
};

// Sorted by row. The same seed gives the same pixels.
std::vector<HotPixel> hotPixels(const Sensor& sensor, std::uint64_t seed);

// A rectangle of the sensor and how many of its pixels are added up. A rectangle that goes past an
// edge takes in overscan, which holds no charge.
struct Window {
    unsigned x;
    unsigned y;
    unsigned width;
    unsigned height;
    unsigned binX = 1;
    unsigned binY = 1;

    unsigned columns() const { return width / binX; }
    unsigned rows() const { return height / binY; }
};

} // namespace tavo::virtualcamera
