// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cameras.h"

#include "camera/catalogue.h"
#include "camera/family.h"
#include "faults/faulty_device.h"
#include "serial_numbers.h"

#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

namespace tavo::virtualcamera {
namespace {

void requireModel(const CameraRequest& camera) {
    std::string accepted;
    for (const auto& model : models()) {
        if (model.key == camera.model)
            return;
        accepted += (accepted.empty() ? "" : ", ") + model.key;
    }
    throw std::invalid_argument("--camera \"" + camera.text + "\": unknown model \"" +
                                camera.model + "\"; accepted are " + accepted);
}

std::uint32_t ownSerialNumber(const std::string& key) {
    for (const CameraFamily& family : families())
        for (const Model& model : family.models())
            if (model.key == key)
                return model.serial;
    throw std::out_of_range("unknown model " + key);
}

std::unique_ptr<virtualusb::Device> makeDevice(const CameraRequest& camera, const Options& options,
                                               std::size_t number) {
    Log log;
    if (options.log)
        log = [label = camera.model + "#" + std::to_string(number)](const std::string& line) {
            std::fprintf(stderr, "[%s] %s\n", label.c_str(), line.c_str());
        };
    try {
        auto settings = camera.options;
        if (options.faults.pingUnanswered)
            settings["ping"] = "0";
        auto device = makeCamera(camera.model, settings, options.speed, log);
        if (!options.faults.touchesTraffic())
            return device;
        virtualusb::FaultPlan plan = options.faults;
        plan.seed += number; // every camera throws dice of its own
        return std::make_unique<virtualusb::FaultyDevice>(std::move(device), std::move(plan),
                                                          virtualusb::steadyHostTime(), log);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument("--camera \"" + camera.text + "\": " + error.what());
    }
}

} // namespace

void listModels() {
    for (const auto& model : models())
        std::printf("%-12s %04x  %-20s %s\n", model.key.c_str(), unsigned{model.productId},
                    model.name.c_str(), model.summary.c_str());
}

void numberCameras(Options& options) {
    for (const CameraRequest& camera : options.cameras)
        requireModel(camera);
    tellApart(options.cameras, ownSerialNumber);
}

std::vector<std::unique_ptr<virtualusb::Device>> makeCameras(const Options& options) {
    std::vector<std::unique_ptr<virtualusb::Device>> devices;
    for (const auto& camera : options.cameras)
        devices.push_back(makeDevice(camera, options, devices.size() + 1));
    return devices;
}

} // namespace tavo::virtualcamera
