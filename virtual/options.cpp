// SPDX-License-Identifier: LGPL-2.1-or-later
#include "options.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace tavo::virtualcamera {
namespace {

[[noreturn]] void refuse(const std::string& camera, const std::string& fault) {
    throw std::invalid_argument("--camera \"" + camera + "\": " + fault +
                                "; accepted is MODEL[,OPTION=VALUE...], e.g. ridge-c,serial=7");
}

void addOption(CameraRequest& request, const std::string& item) {
    const auto equals = item.find('=');
    if (equals == std::string::npos)
        refuse(request.text, "option \"" + item + "\" has no value");
    const std::string key = item.substr(0, equals);
    if (key.empty())
        refuse(request.text, "an option has no name");
    if (!request.options.emplace(key, item.substr(equals + 1)).second)
        refuse(request.text, "option \"" + key + "\" is given twice");
}

} // namespace

CameraRequest parseCamera(const std::string& text) {
    CameraRequest request{text, {}, {}};
    std::istringstream items(text);
    std::getline(items, request.model, ',');
    if (request.model.empty() || request.model.find('=') != std::string::npos)
        refuse(text, "no model is named first");
    for (std::string item; std::getline(items, item, ',');)
        addOption(request, item);
    return request;
}

std::variant<Options, Exit> parseCommandLine(int argc, const char* const* argv) {
    Options options;
    std::vector<std::string> cameras;
    CLI::App app(
        "Runs a command on a virtual USB bus with virtual cameras, which it finds and uses "
        "through libusb like real ones. The exit status is the command's, or 128 and the "
        "signal that killed it; 125 to 127 when it could not be run.",
        "tavo-virtual");
    app.add_option("--camera", cameras,
                   "Plug in a camera, e.g. ridge-c or ridge-c,serial=7; may be given many times")
        ->type_name("MODEL[,OPTION=VALUE...]")
        ->allow_extra_args(false)
        ->take_all();
    app.add_flag("--list-models", options.listModels, "List the models and exit");
    app.add_flag("--log", options.log, "Tell on standard error what the cameras do");
    app.add_option("--speed", options.speed, "Let the cameras' time pass this many times faster")
        ->type_name("FACTOR")
        ->capture_default_str();
    app.add_option("COMMAND", options.command, "After \"--\": the command and its arguments")
        ->type_name("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return Exit{app.exit(error) == 0 ? 0 : kOwnFailure};
    }
    if (!std::isfinite(options.speed) || options.speed <= 0)
        throw std::invalid_argument("--speed: accepted is a number above 0, e.g. 10");
    for (const std::string& camera : cameras)
        options.cameras.push_back(parseCamera(camera));
    if (options.command.empty() && !options.listModels)
        throw std::invalid_argument("no command is given; put one after \"--\", e.g. "
                                    "tavo-virtual --camera ridge-c -- lsusb");
    return options;
}

} // namespace tavo::virtualcamera
