// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen.h"

namespace tavo::virtualcamera {

namespace {

Model fullSize() {
    return {
        .key = "lumen-a",
        .name = "Tavo Lumen A",
        .summary = "3326 x 2504 pixels of 5.4 um, no shutter, regulated cooler, wheel of 5, guide "
                   "port, 8 GPIO lines, 8-bit mode",
        .productId = 0xDF3B,
        .versionMajor = 2,
        .versionMinor = 7,
        .sensor = {.width = 3326,
                   .height = 2504,
                   .pixelWidth = 5.4,
                   .pixelHeight = 5.4,
                   .gain = 0.38,
                   .readNoise = 9.0,
                   .fullWell = 25500.0,
                   .darkCurrent = 1.2},
        .describedWidth = 3326,
        .describedHeight = 2504,
        .wellCapacity = 25500,
        .pixelsPerSecond = 6.0e6,
        .registerClearTime = 250 * kMillisecond,
        .hasShutter = false,
        .filterCount = 5,
        .gpioLines = 8,
        .has8BitMode = true,
        .serial = 31007,
    };
}

// The first of the family: it tells less of itself, and measures temperatures more coarsely.
Model small() {
    return {
        .key = "lumen-b",
        .name = "Tavo Lumen B",
        .summary = "640 x 480 pixels of 7.4 um, no shutter, no cooler, guide port",
        .productId = 0xDF3F,
        .versionMajor = 1,
        .versionMinor = 18,
        .sensor = {.width = 640,
                   .height = 480,
                   .pixelWidth = 7.4,
                   .pixelHeight = 7.4,
                   .gain = 0.6,
                   .readNoise = 12.0,
                   .fullWell = 40000.0,
                   .darkCurrent = 2.0},
        .describedWidth = 640,
        .describedHeight = 480,
        .wellCapacity = 40000,
        .pixelsPerSecond = 1.5e6,
        .hasShutter = false,
        .cooler = CoolerKind::none,
        .temperatureBits = 10,
        .serial = 32011,
    };
}

Model colour() {
    Model model{
        .key = "lumen-c",
        .name = "Tavo Lumen C",
        .summary = "1600 x 1200 colour pixels of 7.4 um, no shutter, regulated cooler, 8-bit mode",
        .productId = 0xDFBB,
        .versionMajor = 3,
        .versionMinor = 2,
        .sensor = {.width = 1600,
                   .height = 1200,
                   .pixelWidth = 7.4,
                   .pixelHeight = 7.4,
                   .gain = 0.6,
                   .readNoise = 10.0,
                   .fullWell = 40000.0},
        .describedWidth = 1600,
        .describedHeight = 1200,
        .wellCapacity = 40000,
        .pixelsPerSecond = 4.0e6,
        .registerClearTime = 180 * kMillisecond,
        .hasShutter = false,
        .hasGuidePort = false,
        .has8BitMode = true,
        .serial = 33002,
    };
    makeColour(model, 1);
    return model;
}

} // namespace

std::span<const Model> lumenModels() {
    static const Model models[] = {fullSize(), small(), colour()};
    return models;
}

} // namespace tavo::virtualcamera
