// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The command line of tavo-virtual, an argument a line: options, cameras and faults.
#include "input.h"

#include "options.h"

#include <iostream>
#include <stdexcept>

using tavo::fuzz::require;
using namespace tavo::virtualcamera;

namespace {

void check(const Options& options) {
    require(options.speed > 0, "a speed");
    require(options.listModels || !options.cameras.empty() || !options.command.empty(),
            "something to do");
    for (const CameraRequest& camera : options.cameras)
        require(!camera.model.empty(), "a model");
    for (const auto& fault : options.faults.faults)
        require(fault.probability >= 0 && fault.probability <= 1, "a probability");
}

} // namespace

// Help and mistakes are printed where nobody reads them.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cout.rdbuf(nullptr);
    std::cerr.rdbuf(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto arguments = tavo::fuzz::lines(data, size);
    arguments.insert(arguments.begin(), "tavo-virtual");
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(argument.c_str());
    try {
        const auto parsed = parseCommandLine(static_cast<int>(pointers.size()), pointers.data());
        if (const auto* options = std::get_if<Options>(&parsed))
            check(*options);
    } catch (const std::invalid_argument& error) {
        require(error.what()[0] != '\0', "a reason");
    }
    return 0;
}
