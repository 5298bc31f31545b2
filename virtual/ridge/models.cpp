// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ridge.h"

namespace tavo::virtualcamera {

std::span<const Model> ridgeModels() {
    static const Model models[] = {
        {
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
        },
        {
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
        },
    };
    return models;
}

} // namespace tavo::virtualcamera
