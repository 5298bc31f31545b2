// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A virtual camera of any family, driven by the driver and by a host that makes no sense, in turns,
// perhaps with a cable that goes wrong as planned. Its clock stands still until the input moves it.
//
// It never answers with more than was asked for, keeps its descriptors, and serves again after it
// was plugged in anew.
#include "input.h"
#include "session/process.h"
#include "virtual_camera/cable.h"
#include "virtual_camera/driver.h"
#include "virtual_camera/nonsense_host.h"

#include "camera/family.h"
#include "controller/clock.h"
#include "faults/faulty_device.h"

#include <memory>

using tavo::fuzz::Cable;
using tavo::fuzz::Driver;
using tavo::fuzz::Input;
using tavo::fuzz::NonsenseHost;
using tavo::fuzz::require;
using tavo::virtualcamera::ManualClock;
using tavo::virtualcamera::Model;
using tavo::virtualusb::Bytes;
using tavo::virtualusb::Device;
using tavo::virtualusb::Fault;

namespace {

constexpr unsigned kMostSteps = 300;
constexpr std::size_t kLargestArray = 2 << 20;

CAMERA_TYPE typeOf(std::string_view family) {
    constexpr std::pair<std::string_view, CAMERA_TYPE> kTypes[] = {{"basin", BASIN_CAMERA},
                                                                   {"ridge", RIDGE_CAMERA},
                                                                   {"heron", HERON_CAMERA},
                                                                   {"glint", GLINT_CAMERA},
                                                                   {"lumen", LUMEN_CAMERA}};
    for (const auto& [name, type] : kTypes)
        if (name == family)
            return type;
    tavo::fuzz::fail("a family that the driver knows");
}

// A small one, so that whole frames are quick.
Model modelOf(Input& input, const tavo::virtualcamera::CameraFamily& family) {
    const auto models = family.models();
    Model model = models[input.below(static_cast<unsigned>(models.size()))];
    model.sensor.width = model.describedWidth = 48;
    model.sensor.height = model.describedHeight = 32;
    model.filterCount = input.below(6);
    model.gpioLines = input.below(17);
    model.has8BitMode = input.flag();
    model.hasShutter = input.flag();
    model.firmwareRequired = input.flag();
    model.samplesPerPixel = 1 + input.below(2);
    model.mount.driftX = input.u8() / 25.5;
    model.mount.periodicError = input.u8();
    model.mount.period = 300.0 + input.u8(); // shorter ones make long work of long exposures
    return model;
}

tavo::virtualusb::FaultPlan planOf(Input& input) {
    tavo::virtualusb::FaultPlan plan;
    for (unsigned count = input.below(3); count > 0; --count)
        plan.faults.push_back({.where = static_cast<Fault::Where>(input.below(4)),
                               .probability = input.u8() / 255.0,
                               .kind = static_cast<Fault::Kind>(input.below(5)),
                               .delay = input.u16()});
    if (input.flag())
        plan.unplugAfter = input.u8();
    if (input.flag())
        plan.replugDelay = input.u16();
    plan.seed = input.u8();
    return plan;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto families = tavo::virtualcamera::families();
    const auto& family = families[input.below(static_cast<unsigned>(families.size()))];
    const Model model = modelOf(input, family);
    auto clock = std::make_shared<ManualClock>();
    std::uint64_t hostTime = 0;
    std::size_t told = 0; // the journal is put together, too
    auto owned =
        family.assemble(model, clock, [&](const std::string& line) { told += line.size(); });
    Device* const camera = owned.get();
    const Bytes descriptors = camera->descriptors();
    std::unique_ptr<Device> device = std::move(owned);
    if (input.flag())
        device = std::make_unique<tavo::virtualusb::FaultyDevice>(
            std::move(device), planOf(input), [&] { return hostTime; },
            [&](const std::string& line) { told += line.size(); });

    Cable cable(*device, *clock, hostTime);
    const tavo::fuzz::WatchedProcess process(kLargestArray);
    NonsenseHost host(input, *device, cable);
    Driver driver(input, cable, typeOf(family.name));
    bool driven = true;
    for (unsigned count = 0; count < kMostSteps && !input.empty(); ++count) {
        if (driven && input.flag())
            driven = driver.operation();
        else
            host.step();
    }

    require(device->descriptors() == descriptors, "descriptors as they were");
    NonsenseHost fresh(input, *camera, cable);
    camera->reset();
    require(family.name == "glint" ? fresh.takesFrames(model) : fresh.answersRequests(),
            "a camera that serves again");
    return 0;
}
