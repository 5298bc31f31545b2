// SPDX-License-Identifier: LGPL-2.1-or-later
#include "options.h"

#include "camera/catalogue.h"

#include <CLI/CLI.hpp>

#include <cstdlib>

namespace tavo::soak {

Options parseOptions(int argc, char** argv) {
    CLI::App app("Sessions of a program and a camera that goes wrong, over the real libusb");
    Options options;
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("--seed", options.seed, "of the first session (default 1)");
    app.add_option("--sessions", options.sessions, "how many (default 200)")
        ->check(CLI::Range(1u, 1000000u));
    app.add_option("--jobs", options.jobs, "how many at a time (default 4)")
        ->check(CLI::Range(1u, 256u));
    std::vector<std::string> models;
    for (const auto& model : virtualcamera::models())
        models.push_back(model.key);
    app.add_option("--model", options.model, "of all cameras; without it the seed chooses")
        ->check(CLI::IsMember(models));
    app.add_flag("--verbose", options.verbose, "tells every call");
    app.add_flag("--trace", options.trace, "tells every call, with the driver's own trace");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::exit(app.exit(error));
    }
    options.verbose = options.verbose || options.trace;
    return options;
}

} // namespace tavo::soak
