// SPDX-License-Identifier: LGPL-2.1-or-later
//
// tavo-virtual: runs a command on a virtual USB bus with virtual cameras.
#include "camera/catalogue.h"
#include "options.h"
#include "usb/bus.h"
#include "usb/run_command.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>

namespace {

using namespace tavo;

void listModels() {
    for (const auto& model : virtualcamera::models())
        std::printf("%-12s %04x  %-20s %s\n", model.key.c_str(), unsigned{model.productId},
                    model.name.c_str(), model.summary.c_str());
}

void requireModel(const virtualcamera::CameraRequest& camera) {
    std::string accepted;
    for (const auto& model : virtualcamera::models()) {
        if (model.key == camera.model)
            return;
        accepted += (accepted.empty() ? "" : ", ") + model.key;
    }
    throw std::invalid_argument("--camera \"" + camera.text + "\": unknown model \"" +
                                camera.model + "\"; accepted are " + accepted);
}

std::unique_ptr<virtualusb::Device> makeDevice(const virtualcamera::CameraRequest& camera,
                                               const virtualcamera::Options& options,
                                               std::size_t number) {
    requireModel(camera);
    virtualcamera::Log log;
    if (options.log)
        log = [label = camera.model + "#" + std::to_string(number)](const std::string& line) {
            std::fprintf(stderr, "[%s] %s\n", label.c_str(), line.c_str());
        };
    try {
        return virtualcamera::makeCamera(camera.model, camera.options, options.speed, log);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument("--camera \"" + camera.text + "\": " + error.what());
    }
}

int runOnBus(const virtualcamera::Options& options) {
    // Before the bus starts its thread, which would take the signals otherwise.
    const virtualusb::HeldSignals signals;
    virtualusb::Bus bus;
    std::size_t number = 0;
    for (const auto& camera : options.cameras)
        bus.plug(makeDevice(camera, options, ++number));
    try {
        return virtualusb::runCommand(options.command, bus.environment(), signals);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "tavo-virtual: cannot run %s\n", error.what());
        return error.code().value() == ENOENT ? 127 : 126;
    }
}

int run(int argc, char** argv) {
    const auto parsed = virtualcamera::parseCommandLine(argc, argv);
    if (const auto* exit = std::get_if<virtualcamera::Exit>(&parsed))
        return exit->status;
    const auto& options = std::get<virtualcamera::Options>(parsed);
    if (options.listModels) {
        listModels();
        return 0;
    }
    return runOnBus(options);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tavo-virtual: %s\n", error.what());
        return virtualcamera::kOwnFailure;
    }
}
