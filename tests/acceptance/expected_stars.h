// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Where the stars of the catalogue should appear in a picture, worked out from what the camera says
// of itself and from the telescope's focal length.
#pragma once

#include "frame.h"

#include <tavoccdusb.h>

#include <sky/star_field.h>

#include <cstdint>
#include <vector>

namespace acceptance {

struct PixelOffset { // unbinned pixels
    double x = 0, y = 0;
};

struct ExpectedStar {
    double x, y;      // binned pixels of the frame; pixel centres lie at whole numbers
    double electrons; // a second, through filter and mosaic
    double colour;    // -1 blue to 1 red
    bool alone;       // no other star disturbs a measurement
};

// An axis-parallel ellipse around a star that holds nearly all of its light.
struct Reach {
    unsigned x, y; // binned pixels
};

class ExpectedStars {
public:
    struct Sensor {
        unsigned width, height; // pixels
        tavo::virtualcamera::Mosaic mosaic;
    };
    ExpectedStars(std::uint64_t seed, const TavoCapabilities& caps, const Sensor& sensor_);

    // The stars of a window with the field moved by `shift`, brightest first, those left out whose
    // measurement would leave the window.
    std::vector<ExpectedStar> in(const Window& window, const PixelOffset& shift,
                                 const tavo::virtualcamera::Passband& filter) const;
    Reach reach(const Window& window) const;
    struct Choice {
        Window window;
        unsigned stars;
    };
    // The window of this size that has most to measure in an exposure of `seconds`.
    Choice richest(unsigned windowWidth, unsigned windowHeight, double seconds) const;

    // What the sky between the stars sends to a binned pixel, electrons a second; of a mosaic the
    // mean of its colours.
    double skyElectrons(const Window& window, const tavo::virtualcamera::Passband& filter) const;

    double arcsecondsPerColumn() const { return scaleX; }
    double arcsecondsPerRow() const { return scaleY; }

private:
    struct Place {
        double column, row; // whole numbers are the edges of pixels
    };
    Place project(const tavo::virtualcamera::Star& star, const PixelOffset& shift) const;
    std::vector<ExpectedStar> measurable(double seconds) const;
    double electrons(const tavo::virtualcamera::Star& star,
                     const tavo::virtualcamera::Passband& filter) const;

    tavo::virtualcamera::StarField field;
    Sensor sensor;
    double scaleX, scaleY; // arcseconds a pixel
};

} // namespace acceptance
