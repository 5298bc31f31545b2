// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the camera is expected to be, and how it is to be tried.
#pragma once

#include <tavoccdusb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace acceptance {

struct Size {
    unsigned width, height;
};

struct MosaicPhase { // of the first red pixel
    unsigned column, row;
};

struct Expectations {
    std::optional<std::string> name;
    std::optional<CAMERA_TYPE> family;
    std::optional<unsigned> serial;
    std::optional<Size> pixels;
    std::optional<double> pixelSize;
    std::optional<unsigned> maxBin;
    std::optional<bool> shutter;
    std::optional<unsigned> filters;
    std::optional<bool> guidePort;
    std::optional<bool> eightBit;
    std::optional<unsigned> gpioLines;
    std::optional<COOLER_TYPE> cooler;
    std::optional<std::string> colour;
};

struct Options {
    unsigned index = 0;
    bool quick = false;
    double speed = 1;
    bool sky = true;
    std::uint64_t seed = 1;
    bool driveLines = false;
    float coolBy = 9;
    std::optional<int> bulkTimeout; // milliseconds
    std::optional<Size> sensor;
    std::optional<MosaicPhase> mosaic;
    Expectations expected;
};

struct Exit {
    int status;
};

// Prints help or what is wrong with the arguments itself.
std::variant<Options, Exit> parseOptions(int argc, const char* const* argv);

} // namespace acceptance
