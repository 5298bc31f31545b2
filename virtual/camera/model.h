// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The data that make one camera model differ from another of its family.
#pragma once

#include "../controller/clock.h"
#include "../sky/sensor.h"
#include "cooler.h"
#include "mount.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace tavo::virtualcamera {

struct Model {
    std::string key;
    std::string name;
    std::string summary;
    std::uint16_t productId;
    std::uint8_t versionMajor = 1;
    std::uint8_t versionMinor = 0;
    Sensor sensor;
    // What the camera's own description says, which is not always true.
    unsigned describedWidth;
    unsigned describedHeight;
    unsigned wellCapacity; // electrons
    unsigned maxBin = 4;
    double pixelsPerSecond; // of the digitiser
    // From the readout command, or the end of a timed exposure, to the first pixel.
    Microseconds readoutLatency = 2 * kMillisecond;
    // How long the vertical register is cleared between an exposure and its readout.
    Microseconds registerClearTime = 300 * kMillisecond;
    bool hasShutter = true;
    bool hasGuidePort = true;
    unsigned filterCount = 0;
    unsigned gpioLines = 0;
    bool has8BitMode = false;
    CoolerKind cooler = CoolerKind::setPoint;
    double greatestDrop = 45.0;   // degrees below ambient
    unsigned minCoolerPower = 10; // raw units
    unsigned maxCoolerPower = 210;
    unsigned temperatureBits = 12; // of a temperature reading: 10 or 12
    double ambient = 20.0;         // degrees Celsius
    MountTraits mount = {};
    std::uint32_t serial = 1;
    std::uint64_t seed = 1;
    bool answersPing = true;
    bool firmwareRequired = false;            // the processor does nothing without
    unsigned samplesPerPixel = 1;             // 2: the reference and then the signal
    std::optional<unsigned> colourPhase = {}; // 0 to 3, by the place of the first red pixel

    // The line counter goes on below the last row, as far as an image as high as wide needs it.
    unsigned lineCount() const { return std::max(sensor.width, sensor.height); }
};

// Makes a model a colour one whose first red pixel lies at column phase / 2 and row phase % 2.
void makeColour(Model& model, unsigned phase);

} // namespace tavo::virtualcamera
