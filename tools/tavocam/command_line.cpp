// SPDX-License-Identifier: LGPL-2.1-or-later
#include "command_line.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

#include "exposure_plan.h"
#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr const char* kEpilogue = R"(Exit codes:
  0    done
  1    something unforeseen; also the driver's stop in an impossible state
  2    wrong usage, or an option that this camera cannot serve
  3    no camera found
  4    the camera cannot be opened
  5    the camera refused or failed
  6    a file or standard output cannot be written
  7    cooling or the filter wheel took too long
  129, 130, 143
       interrupted by hang-up, Ctrl-C or SIGTERM: the exposure was aborted and
       no file written, or the frame had been read out already: then the files
       were written first, and a message names them

Examples:
  tavocam list
  tavocam info --camera index:0
  tavocam expose 0.5 -o focus.fits --preview focus.png --overwrite
  tavocam expose 300 --bin 2 --temperature -10 --filter 2 --object "M 42" -o m42.fits
  tavocam expose 300 --dark -o dark.fits
  tavocam expose 5 --window 600,400,200x200 -o guide.fits
  tavocam warm)";

constexpr const char* kExposeEpilogue =
    R"(The file is written whole or not at all, and never over another one without
--overwrite; a name that cannot be written is refused before the exposure.
The cooler keeps regulating afterwards: switch it off with tavocam warm.
Ctrl-C aborts the exposure, closes the shutter and leaves no file; once the
frame has been read out, it lets the files be written. With a camera that hangs
Ctrl-\ ends the program at once.)";

// Printable ASCII is all that a FITS header holds, 68 characters of it, quotes counting twice.
void checkObject(const std::string& name) {
    constexpr std::size_t kLongest = 68;
    const bool printable =
        std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    const auto quotes = static_cast<std::size_t>(std::count(name.begin(), name.end(), '\''));
    if (name.empty() || !printable || name.size() + quotes > kLongest)
        throw Failure(kUsage, text("the object's name must be 1 to ", kLongest,
                                   " plain ASCII characters: \"", name, "\" is not"));
}

// What the parser fills before it is turned into commands.
struct Options {
    std::string camera;
    std::string window;
    std::string binning = "1";
    std::string preview;
    std::string object;
    std::string seconds;
    std::string temperature;
    std::string temperatureTimeout;
    std::string filter;
    ExposeCommand expose;
};

void addCamera(CLI::App& verb, Options& options) {
    verb.add_option("--camera", options.camera,
                    "index or name as tavocam list tells, or serial number; needed when several "
                    "cameras are connected. A bare number is an index where there is one. A "
                    "serial number is looked for by opening one camera after the other")
        ->type_name("[index:]N|NAME|[serial:]N");
}

void addExpose(CLI::App& verb, Options& options) {
    ExposeRequest& request = options.expose.request;
    OutputRequest& outputs = options.expose.outputs;
    addCamera(verb, options);
    verb.add_option("seconds", options.seconds, "exposure time")->required()->type_name("SECONDS");
    verb.add_option("-o,--output", outputs.fits, "FITS file to write")
        ->required()
        ->type_name("FILE");
    verb.add_option("--preview", options.preview, "write a stretched 8-bit PNG as well")
        ->type_name("FILE");
    verb.add_flag("--overwrite", outputs.overwrite, "replace files that exist");
    verb.add_option("--bin,--binning", options.binning, "binning, for example 2 or 2x1")
        ->type_name("N|NxM");
    verb.add_option("--window", options.window, "part of the sensor, in unbinned pixels")
        ->type_name("X,Y,WxH");
    verb.add_flag("--dark", request.dark, "dark frame: keep the shutter closed");
    verb.add_flag("--covered", request.covered,
                  "with --dark: the telescope is covered, no shutter is needed");
    verb.add_option("--temperature", options.temperature,
                    "cool the sensor to this before exposing, degrees Celsius")
        ->type_name("DEGREES");
    verb.add_option("--temperature-timeout", options.temperatureTimeout,
                    "seconds to wait for that (default 900)")
        ->type_name("SECONDS");
    verb.add_option("--filter", options.filter, "filter wheel position, as the camera counts them")
        ->type_name("N");
    verb.add_option("--object", options.object, "name of the object, for the header")
        ->type_name("NAME");
    verb.add_flag("--quiet", options.expose.quiet, "write nothing but errors");
    verb.footer(kExposeEpilogue);
}

double decimalOf(const std::string& what, const std::string& argument, double lowest,
                 double highest, const std::string& unit) {
    const auto value = parseDecimal(argument);
    if (!value || *value < lowest || *value > highest)
        throw Failure(kUsage, text(what, " takes a decimal number from ", lowest, " to ", highest,
                                   " ", unit, ": \"", argument, "\" is none"));
    return *value;
}

unsigned filterOf(const std::string& argument) {
    const auto value = parseNumber(argument);
    if (!value)
        throw Failure(kUsage, text("--filter takes a whole number from 0 to the count of the ",
                                   "wheel's positions, which tavocam info tells: \"", argument,
                                   "\" is none"));
    return *value;
}

std::optional<std::string> cameraOf(const CLI::App& verb, const Options& options) {
    if (verb.count("--camera") == 0)
        return std::nullopt;
    if (options.camera.empty())
        throw Failure(kUsage, "--camera takes an index or a name as tavocam list tells, or a "
                              "serial number: \"\" is none");
    return options.camera;
}

ExposeCommand exposeCommand(const CLI::App& verb, Options& options) {
    ExposeCommand command = options.expose;
    command.request.seconds = decimalOf("the exposure time", options.seconds, 0, kLongestExposure,
                                        "seconds (tavocam info tells the camera's own limits)");
    command.request.binning = parseBinning(options.binning);
    if (verb.count("--window") > 0)
        command.request.window = parseWindow(options.window);
    if (verb.count("--temperature") > 0)
        command.request.temperature = decimalOf("--temperature", options.temperature, kLowestTarget,
                                                kHighestTarget, "degrees Celsius");
    if (verb.count("--filter") > 0)
        command.request.filter = filterOf(options.filter);
    if (verb.count("--preview") > 0)
        command.outputs.preview = options.preview;
    if (verb.count("--object") > 0) {
        checkObject(options.object);
        command.request.object = options.object;
    }
    if (verb.count("--temperature-timeout") > 0)
        command.request.temperatureTimeout = decimalOf(
            "--temperature-timeout", options.temperatureTimeout, 0, kLongestExposure, "seconds");
    command.camera = cameraOf(verb, options);
    return command;
}

} // namespace

Command parseCommandLine(std::vector<std::string> arguments) {
    CLI::App app("Take frames with Tavo cooled CCD cameras.", "tavocam");
    app.set_version_flag("--version", "tavocam " TAVOCAM_VERSION);
    app.require_subcommand(1);
    app.footer(kEpilogue);
    Options options;
    app.add_subcommand("list", "list the cameras that are connected");
    CLI::App& info = *app.add_subcommand("info", "tell all about a camera and its state");
    addCamera(info, options);
    CLI::App& warm = *app.add_subcommand("warm", "warm the sensor up and switch the cooler off");
    addCamera(warm, options);
    CLI::App& expose = *app.add_subcommand("expose", "take one frame and write it as FITS");
    addExpose(expose, options);

    std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the back
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        std::ostringstream output;
        std::ostringstream ignored;
        if (app.exit(error, output, ignored) == 0)
            return PrintCommand{output.str()};
        throw Failure(kUsage, text(error.what(), " (see tavocam --help)"));
    }
    if (info.parsed())
        return InfoCommand{cameraOf(info, options)};
    if (warm.parsed())
        return WarmCommand{cameraOf(warm, options)};
    if (expose.parsed())
        return exposeCommand(expose, options);
    return ListCommand{};
}

} // namespace tavocam
