// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure_plan.h"

#include <algorithm>
#include <cstdint>

#include "failure.h"
#include "family.h"
#include "text.h"

namespace tavocam {
namespace {

void checkDuration(CAMERA_TYPE type, const TavoCapabilities& capabilities, double seconds) {
    const double longest =
        capabilities.supportsLongExposure ? kLongestExposure : capabilities.maxShortExposure;
    // Written so that a NaN is refused as well.
    if (seconds >= capabilities.minShortExposure && seconds <= longest)
        return;
    throw Failure(kUsage, text("an exposure of ", seconds, " s is not possible: this ",
                               familyName(type), " camera exposes from ",
                               capabilities.minShortExposure, " s to ", longest, " s"));
}

void checkBinning(CAMERA_TYPE type, const TavoCapabilities& capabilities, const Binning& binning) {
    if (binning.x == 0 || binning.y == 0 || binning.x > capabilities.maxBinX ||
        binning.y > capabilities.maxBinY)
        throw Failure(kUsage,
                      text("binning ", describe(binning), " is not possible: this camera ",
                           "bins from 1x1 to ", capabilities.maxBinX, "x", capabilities.maxBinY));
    if (type == GLINT_CAMERA && binning.x != binning.y)
        throw Failure(kUsage, text("binning ", describe(binning), " is not possible: Glint ",
                                   "cameras bin by the same factor both ways, for example 2"));
}

// The driver compares a window's vertical end with the sensor's width, so that on a sensor taller
// than wide the lowest rows are out of reach.
std::uint64_t readableHeight(const TavoCapabilities& capabilities) {
    return std::min(capabilities.pixelCountY, capabilities.pixelCountX);
}

void checkWindow(const TavoCapabilities& capabilities, const Window& window) {
    const std::uint64_t right = std::uint64_t{window.x} + window.width;
    const std::uint64_t bottom = std::uint64_t{window.y} + window.height;
    if (right <= capabilities.pixelCountX && bottom <= readableHeight(capabilities))
        return;
    throw Failure(
        kUsage, text("the window ", describe(window), " leaves the sensor: X + W may be at most ",
                     capabilities.pixelCountX, " and Y + H at most ", readableHeight(capabilities),
                     " (it reaches to ", right, " and ", bottom, ")"));
}

Window wholeSensor(const TavoCapabilities& capabilities, std::vector<std::string>& notes) {
    if (readableHeight(capabilities) < capabilities.pixelCountY)
        notes.push_back(text("only the upper ", readableHeight(capabilities), " of ",
                             capabilities.pixelCountY, " rows can be read from this camera"));
    return {0, 0, capabilities.pixelCountX, static_cast<unsigned>(readableHeight(capabilities))};
}

// Families differ in what they make of parts of a binned pixel (some round the origin down, some
// deliver a last narrow column); whole ones look the same everywhere.
Window wholeBinnedPixels(const Window& window, const Binning& binning) {
    return {window.x - window.x % binning.x, window.y - window.y % binning.y,
            window.width - window.width % binning.x, window.height - window.height % binning.y};
}

Window planWindow(const TavoCapabilities& capabilities, const ExposeRequest& request,
                  std::vector<std::string>& notes) {
    if (request.window)
        checkWindow(capabilities, *request.window);
    const Window wanted = request.window ? *request.window : wholeSensor(capabilities, notes);
    const Window window = wholeBinnedPixels(wanted, request.binning);
    if (window.width == 0 || window.height == 0)
        throw Failure(kUsage, text("the window ", describe(wanted), " holds no whole pixel of ",
                                   "binning ", describe(request.binning), ": it must be at least ",
                                   request.binning.x, " wide and ", request.binning.y, " high"));
    if (request.window && window != wanted)
        notes.push_back(text("the window ", describe(wanted), " was fitted to whole binned ",
                             "pixels: ", describe(window)));
    return window;
}

void checkDark(CAMERA_TYPE type, const TavoCapabilities& capabilities,
               const ExposeRequest& request) {
    if (request.covered && !request.dark)
        throw Failure(kUsage, "--covered says how a dark frame is kept dark: use it with --dark");
    if (!request.dark || request.covered || (type == RIDGE_CAMERA && capabilities.hasShutter))
        return;
    throw Failure(kUsage, "this camera cannot keep the light out of a dark frame by itself (that "
                          "takes a Ridge camera with a shutter): cover the telescope and use "
                          "--dark --covered");
}

void checkAccessories(CAMERA_TYPE type, const TavoCapabilities& capabilities,
                      const ExposeRequest& request) {
    if (request.filter && !capabilities.hasFilterWheel)
        throw Failure(kUsage, "this camera has no filter wheel: leave --filter out");
    if (!request.temperature)
        return;
    if (!coolerIsControllable(type, capabilities) || capabilities.coolerType != COOLER_SETPOINT)
        throw Failure(kUsage, text("this camera cannot be cooled to a chosen temperature (its ",
                                   "cooler: ", coolerName(capabilities.coolerType),
                                   "): leave --temperature out"));
    if (!(*request.temperature >= kLowestTarget && *request.temperature <= kHighestTarget))
        throw Failure(kUsage, text("a temperature of ", *request.temperature,
                                   " degrees Celsius cannot be asked for: give ", kLowestTarget,
                                   " to ", kHighestTarget));
}

} // namespace

ExposurePlan planExposure(CAMERA_TYPE type, const TavoCapabilities& capabilities,
                          const ExposeRequest& request) {
    checkDuration(type, capabilities, request.seconds);
    checkBinning(type, capabilities, request.binning);
    checkDark(type, capabilities, request);
    checkAccessories(type, capabilities, request);
    ExposurePlan plan;
    plan.timed = request.seconds <= capabilities.maxShortExposure;
    plan.seconds = request.seconds;
    plan.window = planWindow(capabilities, request, plan.notes);
    plan.binning = request.binning;
    plan.closeShutter = request.dark && type == RIDGE_CAMERA && capabilities.hasShutter;
    return plan;
}

} // namespace tavocam
