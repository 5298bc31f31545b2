// SPDX-License-Identifier: LGPL-2.1-or-later
#include "basin.h"

#include <array>

namespace tavo::virtualcamera {

namespace {

// The described counts take in one column and one row that the digitiser does not deliver.
Model basinA() {
    return {
        .key = "basin-a",
        .name = "Tavo Basin A",
        .summary = "1391 x 1039 pixels of 4.65 um, regulated cooler",
        .productId = 0xDF28,
        .versionMajor = 2,
        .versionMinor = 7,
        .sensor = {.width = 1391, .height = 1039, .pixelWidth = 4.65, .pixelHeight = 4.65},
        .describedWidth = 1392,
        .describedHeight = 1040,
        .wellCapacity = 28000,
        .pixelsPerSecond = 1.5e6,
        .hasShutter = false,
        .hasGuidePort = false,
        .greatestDrop = 30.0,
        .serial = 210001,
    };
}

Model basinB() {
    return {
        .key = "basin-b",
        .name = "Tavo Basin B",
        .summary = "752 x 580 pixels of 8.6 x 8.3 um, cooler driven by power",
        .productId = 0xDFB7,
        .versionMajor = 1,
        .versionMinor = 4,
        .sensor = {.width = 752,
                   .height = 580,
                   .pixelWidth = 8.6,
                   .pixelHeight = 8.3,
                   .gain = 0.7,
                   .readNoise = 9.0,
                   .fullWell = 45000.0,
                   .darkCurrent = 1.4},
        .describedWidth = 753,
        .describedHeight = 581,
        .wellCapacity = 45000,
        .pixelsPerSecond = 1.5e6,
        .hasShutter = false,
        .hasGuidePort = false,
        .cooler = CoolerKind::selectPower,
        .greatestDrop = 25.0,
        .minCoolerPower = 0,
        .maxCoolerPower = 100,
        .temperatureBits = 10,
        .serial = 220001,
    };
}

Model basinC() {
    Model model{
        .key = "basin-c",
        .name = "Corvane Basin",
        .summary = "656 x 492 pixels of 7.4 um, colour, no cooler",
        .productId = 0xDFA8,
        .versionMajor = 2,
        .versionMinor = 1,
        .sensor = {.width = 656,
                   .height = 492,
                   .pixelWidth = 7.4,
                   .pixelHeight = 7.4,
                   .gain = 0.6,
                   .fullWell = 38000.0},
        .describedWidth = 657,
        .describedHeight = 493,
        .wellCapacity = 38000,
        .pixelsPerSecond = 1.5e6,
        .hasShutter = false,
        .hasGuidePort = false,
        .cooler = CoolerKind::none,
        .temperatureBits = 10,
        .serial = 230001,
    };
    makeColour(model, 1);
    return model;
}

} // namespace

std::span<const Model> basinModels() {
    static const std::array models{basinA(), basinB(), basinC()};
    return models;
}

} // namespace tavo::virtualcamera
