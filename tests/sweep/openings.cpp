// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {
namespace {

bool capabilities(TavoCamera& camera, Output& output) {
    TavoCapabilities record, before;
    std::memset(&record, 0x55, sizeof record);
    before = record;
    CAMERA_TYPE type{};
    const char* name = nullptr;
    const bool ok = camera.getCapabilities(&name, &type, &record);
    output.put(type, CAMERA_TYPE{});
    output.put(name != nullptr, false);
    output.put(record.pixelCountX, before.pixelCountX);
    output.put(record.pixelCountY, before.pixelCountY);
    output.put(record.pixelSizeX, before.pixelSizeX);
    output.put(record.maxBinX, before.maxBinX);
    output.put(record.tempSensorCount, before.tempSensorCount);
    output.put(record.coolerType, before.coolerType);
    output.put(record.gpioLineCount, before.gpioLineCount);
    output.put(record.maxShortExposure, before.maxShortExposure);
    return ok;
}

bool capabilitiesOneByOne(TavoCamera& camera, Output& output) {
    constexpr unsigned kBefore = 77777;
    constexpr double kLongestBefore = -7;
    unsigned countX = kBefore, sensors = kBefore;
    double longest = kLongestBefore;
    const bool ok =
        camera.getCapabilities(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &countX, nullptr, nullptr, nullptr, nullptr, nullptr, &sensors,
                               nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest);
    output.put(countX, kBefore);
    output.put(sensors, kBefore);
    output.put(longest, kLongestBefore);
    return ok;
}

bool openAndLook(TavoCamera& camera, Output& output) {
    if (!camera.open())
        return false;
    output.put(camera.getSerialNumber());
    output.put(camera.getVersionMajor());
    output.put(camera.getVersionMinor());
    return capabilities(camera, output);
}

bool accessors(TavoCamera& camera, Output& output) {
    output.put(camera.getName());
    output.put(camera.getSerialNumber());
    output.put(camera.getVersionMajor());
    output.put(camera.getVersionMinor());
    output.put(camera.delay(10.0));
    output.put(camera.imageWidth(100, 3));
    output.put(camera.imageHeight(100, 3));
    return camera.getLastError() != nullptr;
}

bool parameters(TavoCamera& camera, Output& output) {
    const long before = camera.getParam(MAX_PACKET_SIZE);
    output.put(before);
    return camera.setParam(MAX_PACKET_SIZE, before);
}

bool occupied(Bench& bench) {
    bench.occupy();
    return closed(bench);
}

bool wheelTurning(Bench& bench) {
    bench.turnWheel();
    return closed(bench);
}

bool closedAndBare(Bench& bench) {
    bench.strip();
    return closed(bench);
}

Operation opening(const char* name, const std::vector<CAMERA_TYPE>& served,
                  bool (*prepare)(Bench&)) {
    return {.name = name,
            .served = served,
            .prepare = prepare,
            .run = openAndLook,
            .failures = {"Failed to initialize device", "Failed to open device"},
            .failed = kClosed,
            .servedOnly = true};
}

Operation alike(Operation operation) {
    operation.alike = true;
    return operation;
}

} // namespace

std::vector<Operation> openings() {
    return {
        opening("open", kAll, closed),
        alike(opening("open (kernel driver)", kAll, occupied)),
        alike(opening("open (wheel turning)", kWheeled, wheelTurning)),
        alike(opening("open (nothing fitted)", kAll, closedAndBare)),
        {.name = "close",
         .served = kAll,
         .prepare = asItIs,
         .run =
             [](TavoCamera& camera, Output&) {
                 camera.close();
                 return true;
             },
         .succeeded = kClosed},
        {.name = "close (exposing)",
         .served = kLong,
         .prepare = exposing,
         .run =
             [](TavoCamera& camera, Output&) {
                 camera.close();
                 return true;
             },
         .succeeded = {.open = false, .exposing = true},
         .servedOnly = true},
        {.name = "getCapabilities (record)",
         .served = kAll,
         .prepare = asItIs,
         .run = capabilities},
        {.name = "getCapabilities (values)",
         .served = kAll,
         .prepare = asItIs,
         .run = capabilitiesOneByOne},
        {.name = "getCapabilities (closed)",
         .served = {},
         .prepare = closed,
         .run = capabilities,
         .refusal = "Device is not opened",
         .failed = kClosed},
        {.name = "setParam, getParam", .served = kAll, .prepare = asItIs, .run = parameters},
        {.name = "accessors, delay, sizes", .served = kAll, .prepare = asItIs, .run = accessors},
    };
}

} // namespace tavo::sweep
