// SPDX-License-Identifier: LGPL-2.1-or-later
//
// tavo-virtual: plugs virtual cameras into a virtual USB bus, a USB/IP server or this computer's
// kernel.
#include "cameras.h"
#include "options.h"
#include "runs.h"

#include <cstdio>
#include <exception>

namespace {

using namespace tavo::virtualcamera;

int runOn(const Options& options) {
    switch (options.host) {
    case Host::testbed: return runTestbed(options);
    case Host::usbip: return runUsbip(options);
    case Host::vhci: return runVhci(options);
    }
    return kOwnFailure;
}

int run(int argc, char** argv) {
    auto parsed = parseCommandLine(argc, argv);
    if (const auto* exit = std::get_if<Exit>(&parsed))
        return exit->status;
    auto& options = std::get<Options>(parsed);
    if (options.listModels) {
        listModels();
        return 0;
    }
    numberCameras(options);
    return runOn(options);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tavo-virtual: %s\n", error.what());
        return kOwnFailure;
    }
}
