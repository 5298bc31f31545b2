// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_ARGUMENTS_H
#define TAVOCAM_ARGUMENTS_H

#include <optional>
#include <string>
#include <string_view>

namespace tavocam {

// A part of the sensor, in unbinned pixels counted from the top left corner.
struct Window {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;

    bool operator==(const Window&) const = default;
};

struct Binning {
    unsigned x = 1;
    unsigned y = 1;

    bool operator==(const Binning&) const = default;
};

// "X,Y,WxH"; throws Failure.
Window parseWindow(std::string_view argument);

// "2" for equal factors, "2x1" for horizontal and vertical ones; throws Failure.
Binning parseBinning(std::string_view argument);

// A whole number with nothing around it.
std::optional<unsigned> parseNumber(std::string_view argument);

// A decimal number with nothing around it, for example -10, 0.5 or 1e-3.
std::optional<double> parseDecimal(std::string_view argument);

std::string describe(const Window& window);
std::string describe(const Binning& binning);

// What the user asks of an exposure, not yet compared with a camera.
struct ExposeRequest {
    double seconds = 0;
    std::optional<Window> window; // none: the whole sensor
    Binning binning;
    bool dark = false;
    bool covered = false; // the user keeps the light out, so a dark frame needs no shutter
    std::optional<double> temperature;
    double temperatureTimeout = 900; // seconds
    std::optional<unsigned> filter;
    std::optional<std::string> object;
};

struct OutputRequest {
    std::string fits;
    std::optional<std::string> preview;
    bool overwrite = false;
};

} // namespace tavocam

#endif
