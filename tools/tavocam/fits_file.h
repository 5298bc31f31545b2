// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FITS_FILE_H
#define TAVOCAM_FITS_FILE_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "frame.h"

namespace tavocam {

// What a frame's header says. Only what is known to be true is filled in.
struct FrameDescription {
    std::chrono::system_clock::time_point start;
    double exposure = 0; // seconds, as exposed
    Window window;       // unbinned pixels
    Binning binning;
    double pixelSizeX = 0; // micrometres, unbinned
    double pixelSizeY = 0;
    std::optional<double> chipTemperature;   // degrees Celsius
    std::optional<double> targetTemperature; // degrees Celsius
    std::optional<unsigned> filter;
    std::optional<std::string> bayerPattern;
    std::optional<std::string> object;
    std::string instrument;
    bool dark = false;
    std::vector<std::string> comments;
};

// A complete FITS file. Throws std::runtime_error when it cannot be made.
std::vector<std::byte> encodeFits(const Frame& frame, const FrameDescription& description);

} // namespace tavocam

#endif
