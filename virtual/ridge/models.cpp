// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ridge.h"

#include <array>

namespace tavo::virtualcamera {

namespace {

Model ridgeA() {
    return {
        .key = "ridge-a",
        .name = "Tavo Ridge A",
        .summary = "768 x 512 pixels of 9 um, shutter, cooler driven by power, guide port",
        .productId = 0xDF29,
        .versionMajor = 2,
        .versionMinor = 5,
        .sensor = {.width = 768,
                   .height = 512,
                   .pixelWidth = 9.0,
                   .pixelHeight = 9.0,
                   .gain = 1.5,
                   .readNoise = 15.0,
                   .fullWell = 90000.0,
                   .darkCurrent = 2.0},
        .describedWidth = 768,
        .describedHeight = 512,
        .wellCapacity = 65000, // all that its field holds
        .pixelsPerSecond = 1.0e6,
        .cooler = CoolerKind::selectPower,
        .minCoolerPower = 0,
        .maxCoolerPower = 100,
        .serial = 110001,
    };
}

Model ridgeB() {
    return {
        .key = "ridge-b",
        .name = "Tavo Ridge B",
        .summary = "1360 x 1024 pixels of 4.65 um, cooler that is only on or off",
        .productId = 0xDF2B,
        .versionMajor = 2,
        .versionMinor = 8,
        .sensor = {.width = 1360,
                   .height = 1024,
                   .pixelWidth = 4.65,
                   .pixelHeight = 4.65,
                   .fullWell = 17000.0},
        .describedWidth = 1360,
        .describedHeight = 1024,
        .wellCapacity = 17000,
        .pixelsPerSecond = 2.0e6,
        .hasShutter = false,
        .hasGuidePort = false,
        .cooler = CoolerKind::onOff,
        .greatestDrop = 25.0,
        .minCoolerPower = 0,
        .maxCoolerPower = 1,
        .serial = 115001,
    };
}

Model ridgeC() {
    return {
        .key = "ridge-c",
        .name = "Tavo Ridge C",
        .summary = "1392 x 1040 pixels of 6.45 um, shutter, regulated cooler, wheel of 5, "
                   "guide port",
        .productId = 0xDF2C,
        .versionMajor = 3,
        .versionMinor = 12,
        .sensor = {.width = 1392, .height = 1040, .pixelWidth = 6.45, .pixelHeight = 6.45},
        .describedWidth = 1392,
        .describedHeight = 1040,
        .wellCapacity = 28000,
        .pixelsPerSecond = 2.0e6,
        .filterCount = 5,
        .serial = 120001,
    };
}

Model ridgeD() {
    Model model{
        .key = "ridge-d",
        .name = "Tavo Ridge D",
        .summary = "2048 x 2040 pixels of 7.4 um, colour, shutter, regulated cooler, guide port",
        .productId = 0xDF30,
        .versionMajor = 3,
        .versionMinor = 14,
        .sensor = {.width = 2048,
                   .height = 2040,
                   .pixelWidth = 7.4,
                   .pixelHeight = 7.4,
                   .gain = 0.6,
                   .readNoise = 9.0,
                   .fullWell = 40000.0},
        .describedWidth = 2048,
        .describedHeight = 2040,
        .wellCapacity = 40000,
        .pixelsPerSecond = 4.0e6,
        .serial = 130001,
    };
    makeColour(model, 2);
    return model;
}

Model ridgeE() {
    return {
        .key = "ridge-e",
        .name = "Tavo Ridge E",
        .summary =
            "3326 x 2504 pixels of 5.4 um, shutter, regulated cooler, wheel of 5, guide port",
        .productId = 0xDF31,
        .versionMajor = 3,
        .versionMinor = 20,
        .sensor = {.width = 3326,
                   .height = 2504,
                   .pixelWidth = 5.4,
                   .pixelHeight = 5.4,
                   .gain = 0.4,
                   .readNoise = 9.0,
                   .fullWell = 25500.0,
                   .darkCurrent = 0.6},
        // Counts the covered columns and rows around the image, too.
        .describedWidth = 3358,
        .describedHeight = 2536,
        .wellCapacity = 25500,
        .pixelsPerSecond = 6.0e6,
        .filterCount = 5,
        .serial = 140001,
    };
}

Model ridgeV() {
    return {
        .key = "ridge-v",
        .name = "Tavo Ridge V",
        .summary = "4499 x 3599 pixels of 6 um, shutter, regulated cooler, wheel of 7, "
                   "guide port",
        .productId = 0xDF50,
        .versionMajor = 4,
        .versionMinor = 2,
        .sensor = {.width = 4499,
                   .height = 3599,
                   .pixelWidth = 6.0,
                   .pixelHeight = 6.0,
                   .gain = 0.6,
                   .readNoise = 10.0,
                   .fullWell = 42000.0,
                   .darkCurrent = 0.8},
        // Counts the columns and rows that the digitiser cannot reach, too.
        .describedWidth = 4508,
        .describedHeight = 3608,
        .wellCapacity = 42000,
        .pixelsPerSecond = 8.0e6,
        // Shifts the whole sensor into its frame buffer first, longer than commands may take.
        .readoutLatency = 2500 * kMillisecond,
        .filterCount = 7,
        .serial = 150001,
    };
}

} // namespace

std::span<const Model> ridgeModels() {
    static const std::array models{ridgeA(), ridgeB(), ridgeC(), ridgeD(), ridgeE(), ridgeV()};
    return models;
}

} // namespace tavo::virtualcamera
