// SPDX-License-Identifier: LGPL-2.1-or-later
#include "arguments.h"

#include <charconv>
#include <cmath>

#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

std::optional<unsigned> takeNumber(std::string_view& rest) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (error != std::errc())
        return std::nullopt;
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return value;
}

bool takeCharacter(std::string_view& rest, char character) {
    if (rest.empty() || rest.front() != character)
        return false;
    rest.remove_prefix(1);
    return true;
}

// "AxB"
bool takePair(std::string_view& rest, unsigned& first, unsigned& second) {
    const auto a = takeNumber(rest);
    if (!a || !takeCharacter(rest, 'x'))
        return false;
    const auto b = takeNumber(rest);
    first = *a;
    second = b.value_or(0);
    return b.has_value();
}

} // namespace

std::optional<unsigned> parseNumber(std::string_view argument) {
    const auto value = takeNumber(argument);
    return argument.empty() ? value : std::nullopt;
}

std::optional<double> parseDecimal(std::string_view argument) {
    double value = 0;
    const char* end = argument.data() + argument.size();
    const auto [rest, error] = std::from_chars(argument.data(), end, value);
    if (error != std::errc() || rest != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

Window parseWindow(std::string_view argument) {
    std::string_view rest = argument;
    Window window;
    const auto x = takeNumber(rest);
    const bool hasX = x && takeCharacter(rest, ',');
    const auto y = hasX ? takeNumber(rest) : std::nullopt;
    const bool hasY = y && takeCharacter(rest, ',');
    if (!hasY || !takePair(rest, window.width, window.height) || !rest.empty())
        throw Failure(kUsage, text("\"", argument,
                                   "\" is no window: give X,Y,WxH in unbinned sensor pixels, for "
                                   "example 100,50,640x480"));
    window.x = *x;
    window.y = *y;
    if (window.width == 0 || window.height == 0)
        throw Failure(kUsage, text("the window ", argument, " is empty: width and height must be ",
                                   "at least 1"));
    return window;
}

Binning parseBinning(std::string_view argument) {
    Binning binning;
    if (const auto both = parseNumber(argument)) {
        binning = {*both, *both};
    } else {
        std::string_view rest = argument;
        if (!takePair(rest, binning.x, binning.y) || !rest.empty())
            throw Failure(kUsage, text("\"", argument,
                                       "\" is no binning: give one factor, for example 2, or the "
                                       "horizontal and the vertical one, for example 2x1"));
    }
    if (binning.x == 0 || binning.y == 0)
        throw Failure(kUsage, text("binning ", argument, " is not possible: factors start at 1"));
    return binning;
}

std::string describe(const Window& window) {
    return text(window.x, ",", window.y, ",", window.width, "x", window.height);
}

std::string describe(const Binning& binning) {
    return text(binning.x, "x", binning.y);
}

} // namespace tavocam
