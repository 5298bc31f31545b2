// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Turns what fell on a sensor into digital values, a band of rows at a time and only as far as it
// is read, so that a large frame costs little memory and no long pause.
#pragma once

#include "random.h"
#include "sensor.h"
#include "star_field.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

// A stretch of time with light on the sensor, during which the telescope drifted evenly.
struct LightSpan {
    double seconds;
    Pointing from;
    Pointing to;
    Passband passband; // of what is in the beam
};

struct Exposure {
    std::vector<LightSpan> light;
    double darkSeconds = 0.0; // as if all of it had been at the reference temperature
    double readNoiseFactor = 1.0;
    double amplification = 1.0;  // before it is digitised, over the sensor's usual one
    double offset = 0.0;         // digital units above the sensor's usual bias
    std::uint64_t noiseSeed = 0; // differs for every exposure
};

class Frame {
public:
    // `stars` and `hot` outlive the frame.
    Frame(const Sensor& sensor, std::span<const Star> stars, std::span<const HotPixel> hot,
          const Exposure& exposure, const Window& window);

    const Window& window() const { return area; }
    // The next binned row. REQUIRES: target has window().columns() values, and no more than
    // window().rows() rows are taken.
    void nextRow(std::span<std::uint16_t> target);

private:
    struct Image { // one image of a star, in pixels
        double column;
        double row;
        double electrons;
        double colour;
        Passband passband;
    };

    void placeStars(std::span<const Star> stars, const LightSpan& span);
    void renderBand();
    void fillBackground(unsigned row, std::span<float> values) const;
    void addHotPixels(unsigned firstRow, unsigned rows);
    void addStar(const Image& image, unsigned firstRow, unsigned rows);
    void addUp(std::span<const float> row);
    std::span<float> bandRow(unsigned index);

    Sensor sensor;
    std::span<const HotPixel> hot;
    Window area;
    double darkSeconds;
    double readNoise;
    GaussianNoise noise;
    std::vector<LightSpan> light;
    std::vector<Image> images;
    std::vector<float> band;
    std::vector<float> sums;
    unsigned bandStart = 0; // rows from the top of the window
    unsigned bandRows = 0;
    unsigned nextBinnedRow = 0;
};

} // namespace tavo::virtualcamera
