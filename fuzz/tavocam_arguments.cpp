// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The command line of tavocam, an argument a line: refused as wrong usage, or a command within the
// limits that it promises; and its plan for a camera that describes itself with the last bytes.
#include "input.h"

#include "command_line.h"
#include "exposure_plan.h"
#include "failure.h"

#include <cmath>

using tavo::fuzz::Input;
using tavo::fuzz::require;

namespace {

void checkExposure(const tavocam::ExposeCommand& command) {
    const tavocam::ExposeRequest& request = command.request;
    require(request.seconds >= 0 && request.seconds <= tavocam::kLongestExposure, "seconds");
    require(request.binning.x > 0 && request.binning.y > 0, "binning");
    if (request.window)
        require(request.window->width > 0 && request.window->height > 0, "window");
    if (request.temperature)
        require(*request.temperature >= tavocam::kLowestTarget &&
                    *request.temperature <= tavocam::kHighestTarget,
                "temperature");
    if (request.object)
        require(!request.object->empty() && request.object->size() <= 68, "object");
}

template <typename Limit>
Limit oneOf(Input& input, std::initializer_list<Limit> values) {
    return *(values.begin() + input.below(static_cast<unsigned>(values.size())));
}

TavoCapabilities capabilities(Input& input) {
    TavoCapabilities camera{};
    camera.hasShutter = input.flag();
    camera.has8BitMode = input.flag();
    camera.hasFilterWheel = input.flag();
    camera.pixelCountX = input.u16();
    camera.pixelCountY = input.u16();
    camera.maxBinX = input.u8();
    camera.maxBinY = input.u8();
    camera.tempSensorCount = input.u8();
    camera.coolerType = static_cast<COOLER_TYPE>(input.below(5));
    camera.supportsLongExposure = input.flag();
    camera.minShortExposure = oneOf(input, {0.001, 0.2});
    camera.maxShortExposure = oneOf(input, {0.5, 1.398, 2.46, 3.0});
    return camera;
}

void plan(Input& input, const tavocam::ExposeRequest& request) {
    const auto type = static_cast<CAMERA_TYPE>(1 + input.below(5));
    const TavoCapabilities camera = capabilities(input);
    const auto made = tavocam::planExposure(type, camera, request);
    require(made.binning.x >= 1 && made.binning.x <= camera.maxBinX, "horizontal binning");
    require(made.binning.y >= 1 && made.binning.y <= camera.maxBinY, "vertical binning");
    require(made.window.width > 0 && made.window.height > 0, "a window with pixels");
    require(std::uint64_t{made.window.x} + made.window.width <= camera.pixelCountX &&
                std::uint64_t{made.window.y} + made.window.height <= camera.pixelCountY,
            "a window on the sensor");
    require(std::isfinite(made.seconds) && made.seconds >= 0, "an exposure time");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kCamera = 18; // bytes
    const std::size_t textSize = size > kCamera ? size - kCamera : size;
    Input camera(data + textSize, size - textSize);
    try {
        const auto command = tavocam::parseCommandLine(tavo::fuzz::lines(data, textSize));
        if (const auto* expose = std::get_if<tavocam::ExposeCommand>(&command)) {
            checkExposure(*expose);
            plan(camera, expose->request);
        } else if (const auto* print = std::get_if<tavocam::PrintCommand>(&command)) {
            require(!print->output.empty(), "something to print");
        }
    } catch (const tavocam::Failure& failure) {
        require(failure.exitCode == tavocam::kUsage, "the exit code of wrong usage");
        require(failure.what()[0] != '\0', "a reason");
    }
    return 0;
}
