// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron.h"

#include <array>

namespace tavo::virtualcamera {

namespace {

// Where two samples are taken, the bias is the offset that the memory tells the host to add, in
// units of 32.
constexpr double kBias = 992.0;

std::array<Model, 3> makeModels() {
    std::array<Model, 3> models{{
        {
            .key = "heron-a",
            .name = "Tavo Heron A",
            .summary = "640 x 480 pixels of 7.4 um, two samples a pixel, guide port",
            .productId = 0xDFAB,
            .versionMajor = 2,
            .versionMinor = 1,
            .sensor = {.width = 640,
                       .height = 480,
                       .pixelWidth = 7.4,
                       .pixelHeight = 7.4,
                       .bias = kBias,
                       .fullWell = 25000.0},
            .describedWidth = 640,
            .describedHeight = 480,
            .wellCapacity = 25000,
            .pixelsPerSecond = 1.0e6,
            .readoutLatency = 60 * kMillisecond,
            .serial = 70001,
        },
        {
            .key = "heron-b",
            .name = "Tavo Heron B",
            .summary = "1392 x 1040 pixels of 6.5 um, colour, two samples a pixel, guide port",
            .productId = 0xDFAD,
            .versionMajor = 2,
            .versionMinor = 4,
            .sensor = {.width = 1392,
                       .height = 1040,
                       .pixelWidth = 6.5,
                       .pixelHeight = 6.5,
                       .bias = kBias,
                       .fullWell = 20000.0},
            .describedWidth = 1392,
            .describedHeight = 1040,
            .wellCapacity = 20000,
            .pixelsPerSecond = 1.5e6,
            .readoutLatency = 100 * kMillisecond,
            .serial = 80001,
        },
        {
            .key = "heron-c",
            .name = "Tavo Heron C",
            .summary = "512 x 512 pixels of 20 um, one sample a pixel",
            .productId = 0xDFAE,
            .versionMajor = 3,
            .versionMinor = 0,
            .sensor = {.width = 512,
                       .height = 512,
                       .pixelWidth = 20.0,
                       .pixelHeight = 20.0,
                       .gain = 2.0,
                       .bias = kBias,
                       .readNoise = 15.0,
                       .fullWell = 120000.0,
                       .darkCurrent = 6.0},
            .describedWidth = 512,
            .describedHeight = 512,
            .wellCapacity = 120000,
            .pixelsPerSecond = 0.5e6,
            .readoutLatency = 80 * kMillisecond,
            .serial = 90001,
        },
    }};
    for (Model& model : models) {
        model.hasShutter = false;
        model.cooler = CoolerKind::none;
        model.samplesPerPixel = 2;
    }
    makeColour(models[1], 0);
    models[2].samplesPerPixel = 1;
    models[2].hasGuidePort = false;
    return models;
}

} // namespace

std::span<const Model> heronModels() {
    static const std::array<Model, 3> models = makeModels();
    return models;
}

} // namespace tavo::virtualcamera
