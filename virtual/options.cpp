// SPDX-License-Identifier: LGPL-2.1-or-later
#include "options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>

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

std::uint64_t parseSeed(const std::string& text) {
    std::uint64_t seed = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, seed);
    if (error != std::errc{} || rest != end)
        throw std::invalid_argument("--fault-seed \"" + text +
                                    "\": accepted is a whole number from 0 to "
                                    "18446744073709551615");
    return seed;
}

void requireSpeed(double speed) {
    constexpr double slowest = 0.001;
    constexpr double fastest = 100000;           // a day in a second
    if (!(speed >= slowest && speed <= fastest)) // nor is it a NaN
        throw std::invalid_argument("--speed: accepted is a number from 0.001 to 100000, e.g. 10");
}

// What the command line may say of the place where the cameras are plugged in.
struct HostArguments {
    std::string usbipAddress; // empty when none is named
    CLI::Option* usbip = nullptr;
    bool vhci = false;
    CLI::Option* usbfsMemory = nullptr;
};

void addHostOptions(CLI::App& app, HostArguments& arguments) {
    arguments.usbip =
        app.add_option("--usbip", arguments.usbipAddress,
                       "Serve the cameras to this and other computers by USB/IP, at 127.0.0.1:3240 "
                       "or where it says; port 0 picks one. Without a command, until a signal")
            ->type_name("[HOST:PORT]")
            ->expected(0, 1);
    app.add_flag(
           "--vhci", arguments.vhci,
           "Plug the cameras into this computer's kernel; needs root and the module vhci-hcd. "
           "Without a command, until a signal")
        ->excludes(arguments.usbip);
}

void chooseHost(Options& options, const HostArguments& arguments) {
    if (arguments.usbip->count() > 0)
        options.host = Host::usbip;
    else if (arguments.vhci)
        options.host = Host::vhci;
    if (options.host != Host::testbed && arguments.usbfsMemory->count() > 0)
        throw std::invalid_argument(
            "--usbfs-memory is a limit of the virtual bus and cannot go with --usbip or --vhci; "
            "there it is the kernel's, in /sys/module/usbcore/parameters/usbfs_memory_mb");
    if (!arguments.usbipAddress.empty())
        options.usbipAddress = arguments.usbipAddress;
}

void requireCamera(const Options& options) {
    if (options.cameras.empty() && (options.host != Host::testbed || options.command.empty()))
        throw std::invalid_argument("no camera is given; add at least one, e.g. --camera ridge-c");
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
    std::vector<std::string> faults;
    std::string faultSeed = std::to_string(options.faults.seed);
    HostArguments host;
    CLI::App app(
        "Runs a command on a virtual USB bus with virtual cameras, which it finds and uses "
        "through libusb like real ones. The exit status is the command's, or 128 and the "
        "signal that killed it; 125 to 127 when it could not be run. Without a command it prints "
        "the environment for programs to live on the bus, to be sourced in other terminals, and "
        "serves them until a signal ends it. With --usbip or --vhci the "
        "cameras appear in a real kernel instead, for every program there.",
        "tavo-virtual");
    app.add_option("--camera", cameras,
                   "Plug in a camera, e.g. ridge-c or ridge-c,serial=7; may be given many times")
        ->type_name("MODEL[,OPTION=VALUE...]")
        ->allow_extra_args(false)
        ->take_all();
    addHostOptions(app, host);
    app.add_flag("--list-models", options.listModels, "List the models and exit");
    app.add_flag("--log", options.log, "Tell on standard error what the cameras do");
    app.add_option("--speed", options.speed,
                   "Let the cameras' time pass this many times faster, 0.001 to 100000")
        ->type_name("FACTOR")
        ->capture_default_str();
    app.add_option("--fault", faults,
                   "Let the cameras go wrong, e.g. bulk-in:0.01:timeout, control-out:0.1:stall, "
                   "bulk-in:0.05:late:200 (ms), unplug-after:250 (at the "
                   "250th request), unplug-after:250:3000 (and back after 3000 ms), ping:never; "
                   "kinds are timeout, "
                   "stall, short, corrupt and late; may be given many times")
        ->type_name("FAULT")
        ->allow_extra_args(false)
        ->take_all();
    app.add_option("--fault-seed", faultSeed, "Other dice for the faults")
        ->type_name("N")
        ->capture_default_str();
    host.usbfsMemory =
        app.add_option("--usbfs-memory", options.usbfsMemory,
                       "On the virtual bus: what all pending transfers may occupy together, as "
                       "usbfs_memory_mb of the kernel; 0 lifts the limit")
            ->type_name("MIB")
            ->check(CLI::Range(0U, 1048576U))
            ->capture_default_str();
    app.add_option("COMMAND", options.command, "After \"--\": the command and its arguments")
        ->type_name("");
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    const auto mark = std::find(arguments.begin(), arguments.end(), std::string_view("--"));
    try {
        app.parse(static_cast<int>(mark - arguments.begin()), argv);
    } catch (const CLI::ParseError& error) {
        return Exit{app.exit(error) == 0 ? 0 : kOwnFailure};
    }
    requireSpeed(options.speed);
    options.faults.seed = parseSeed(faultSeed);
    for (const std::string& camera : cameras)
        options.cameras.push_back(parseCamera(camera));
    for (const std::string& fault : faults)
        virtualusb::addFault(options.faults, fault);
    // The parser would take the mark for the end of an option's arguments, and what follows for
    // options of its own.
    if (mark != arguments.end())
        options.command.insert(options.command.end(), mark + 1, arguments.end());
    chooseHost(options, host);
    if (!options.listModels)
        requireCamera(options);
    return options;
}

} // namespace tavo::virtualcamera
