// SPDX-License-Identifier: LGPL-2.1-or-later
#include "options.h"

#include <CLI/CLI.hpp>

#include <map>

namespace acceptance {

namespace {

const std::map<std::string, CAMERA_TYPE> kFamilies{{"basin", BASIN_CAMERA},
                                                   {"ridge", RIDGE_CAMERA},
                                                   {"heron", HERON_CAMERA},
                                                   {"glint", GLINT_CAMERA},
                                                   {"lumen", LUMEN_CAMERA}};
const std::map<std::string, COOLER_TYPE> kCoolers{{"none", COOLER_NONE},
                                                  {"always", COOLER_ALWAYSON},
                                                  {"onoff", COOLER_ONOFF},
                                                  {"power", COOLER_SELECTPOWER},
                                                  {"setpoint", COOLER_SETPOINT}};

Size parseSize(const std::string& text) {
    Size size{};
    std::istringstream input(text);
    char cross = 0;
    if (!(input >> size.width >> cross >> size.height) || cross != 'x' || !input.eof() ||
        size.width == 0 || size.height == 0 || text.find('-') != std::string::npos)
        throw CLI::ValidationError(text + " is not accepted: give WIDTHxHEIGHT, e.g. 1392x1040");
    return size;
}

void addSize(CLI::App& app, const std::string& name, std::optional<Size>& target,
             const std::string& description) {
    app.add_option_function<std::string>(
           name, [&target](const std::string& text) { target = parseSize(text); }, description)
        ->type_name("WIDTHxHEIGHT");
}

void addRun(CLI::App& app, Options& options, bool& noSky) {
    app.add_option("--index", options.index, "Which of the cameras on the bus to try")
        ->capture_default_str();
    app.add_flag("--quick", options.quick, "Fewer and shorter exposures");
    app.add_option("--speed", options.speed,
                   "How many times faster than this machine's the camera's time passes")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    auto* sky = app.add_option("--sky", options.seed, "Seed of the sky that the camera looks at")
                    ->capture_default_str();
    app.add_flag("--no-sky", noSky, "The camera does not look at the stars of a virtual sky")
        ->excludes(sky);
    app.add_flag("--drive-gpio", options.driveLines,
                 "Drive the GPIO lines also without a virtual sky, whatever hangs on them");
    app.add_option("--cool-by", options.coolBy, "Degrees to cool by")
        ->check(CLI::Range(4.0, 40.0))
        ->capture_default_str();
    app.add_option(
           "--bulk-timeout", options.bulkTimeout,
           "Milliseconds to wait for the camera's answers, instead of the library's default")
        ->check(CLI::PositiveNumber);
    addSize(app, "--sensor-size", options.sensor,
            "The sensor's true size, where the camera reports another");
    app.add_option_function<std::string>(
           "--mosaic",
           [&options](const std::string& text) {
               options.mosaic =
                   MosaicPhase{text.front() == '1' ? 1u : 0u, text.back() == '1' ? 1u : 0u};
           },
           "Column and row of the first red pixel, where the camera does not report them")
        ->check(CLI::IsMember({"0,0", "0,1", "1,0", "1,1"}));
}

void addExpectations(CLI::App& app, Expectations& expected) {
    const std::string group = "Expected of the camera";
    app.add_option("--name", expected.name, "The model's name")->group(group);
    app.add_option("--family", expected.family, "The family")
        ->transform(CLI::CheckedTransformer(kFamilies))
        ->group(group);
    app.add_option("--serial", expected.serial, "The serial number")->group(group);
    addSize(app, "--pixels", expected.pixels, "The reported size");
    app.get_option("--pixels")->group(group);
    app.add_option("--pixel-size", expected.pixelSize, "Micrometres")->group(group);
    app.add_option("--max-bin", expected.maxBin, "Largest binning factor")->group(group);
    app.add_option("--shutter", expected.shutter, "Has a shutter: 0 or 1")->group(group);
    app.add_option("--filters", expected.filters, "Positions of the filter wheel, 0: no wheel")
        ->group(group);
    app.add_option("--guide", expected.guidePort, "Has a guide port: 0 or 1")->group(group);
    app.add_option("--8-bit", expected.eightBit, "Has an 8-bit mode: 0 or 1")->group(group);
    app.add_option("--gpio", expected.gpioLines, "Number of GPIO lines")->group(group);
    app.add_option("--cooler", expected.cooler, "The kind of cooler")
        ->transform(CLI::CheckedTransformer(kCoolers))
        ->group(group);
    app.add_option("--colour", expected.colour,
                   "\"mono\", or column and row of the first red pixel, e.g. 0,1")
        ->check(CLI::IsMember({"mono", "0,0", "0,1", "1,0", "1,1"}))
        ->group(group);
}

} // namespace

std::variant<Options, Exit> parseOptions(int argc, const char* const* argv) {
    Options options;
    bool noSky = false;
    CLI::App app("Tries everything that a camera can do, a line a step. The exit status is 0 when "
                 "no step failed, 1 when one did, and 2 for wrong arguments. With real hardware: "
                 "tavo-acceptance --no-sky",
                 "tavo-acceptance");
    addRun(app, options, noSky);
    addExpectations(app, options.expected);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return Exit{app.exit(error) == 0 ? 0 : 2};
    }
    options.sky = !noSky;
    return options;
}

} // namespace acceptance
