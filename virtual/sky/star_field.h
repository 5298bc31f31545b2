// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The piece of sky that every virtual camera looks at, and what is in front of the sensor.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tavo::virtualcamera {

struct Pointing { // arcseconds from the middle of the field
    double x = 0.0;
    double y = 0.0;
};

struct Star {
    Pointing place;
    double flux;   // electrons a second through the open telescope
    double colour; // -1 blue to 1 red
};

class StarField {
public:
    explicit StarField(std::uint64_t seed);

    static constexpr double kExtent = 14400.0; // arcseconds, both ways

    std::span<const Star> stars() const { return catalogue; }

private:
    std::vector<Star> catalogue;
};

// How much of the light gets through, by the part of the spectrum it lies in.
struct Passband {
    double blue;
    double green;
    double red;

    double ofStar(double colour) const;
    double ofSky() const { return (blue + green + red) / 3.0; }
};

struct Filter {
    std::string_view name;
    Passband passband;
};

// In the order of the wheel's positions. Without a wheel the first one is in the beam.
std::span<const Filter> filters();

// The colour mosaic of a sensor, by the position of its first red pixel. A mono sensor sees all.
class Mosaic {
public:
    Mosaic() = default;
    Mosaic(unsigned redColumn_, unsigned redRow_)
        : coloured(true), redColumn(redColumn_), redRow(redRow_) {}

    bool isColoured() const { return coloured; }
    // Columns and rows of even distance from a pixel look through the same colour.
    Passband passbandAt(unsigned column, unsigned row) const;

private:
    bool coloured = false;
    unsigned redColumn = 0;
    unsigned redRow = 0;
};

Passband behind(const Passband& front, const Passband& back);

} // namespace tavo::virtualcamera
