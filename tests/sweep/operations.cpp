// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {
namespace {

const std::vector<CAMERA_TYPE> kAll{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA,
                                    LUMEN_CAMERA};
const std::vector<CAMERA_TYPE> kCooled{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};
const std::vector<CAMERA_TYPE> kWheeled{RIDGE_CAMERA, LUMEN_CAMERA};
const std::vector<CAMERA_TYPE> kLong{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA};

constexpr const char* kUnsupported = "Unsupported operation";
constexpr State kClosed{.open = false};
constexpr State kExposing{.exposing = true};
constexpr State kPending{.pending = true, .lockFree = false};

bool asItIs(Bench&) {
    return true;
}

bool closed(Bench& bench) {
    bench.camera().close();
    return true;
}

bool exposing(Bench& bench) {
    return bench.type() == GLINT_CAMERA || bench.camera().startExposure(false);
}

bool requested(Bench& bench) {
    const bool ok = bench.requestImage();
    bench.feedImage();
    return ok;
}

// Only one family takes two samples a pixel; it can do without.
bool requestedPlain(Bench& bench) {
    bench.peer().prechargeSubtraction() = false;
    return requested(bench);
}

bool requestedEightBit(Bench& bench) {
    return bench.camera().set8BitMode(true) && requested(bench);
}

bool fetch(TavoCamera& camera, Output& output) {
    unsigned short image[kImagePixels] = {};
    const auto put = [&] { output.put(image); };
    try {
        const bool ok = camera.getImage(image, kImagePixels);
        put();
        return ok;
    } catch (...) {
        put();
        throw;
    }
}

bool capabilities(TavoCamera& camera, Output& output) {
    TavoCapabilities record{};
    CAMERA_TYPE type{};
    const char* name = nullptr;
    const bool ok = camera.getCapabilities(&name, &type, &record);
    output.put(type);
    output.put(record.pixelCountX);
    output.put(record.pixelCountY);
    output.put(record.pixelSizeX);
    output.put(record.maxBinX);
    output.put(record.tempSensorCount);
    output.put(record.coolerType);
    output.put(record.gpioLineCount);
    output.put(record.hasFilterWheel);
    return ok;
}

bool capabilitiesOneByOne(TavoCamera& camera, Output& output) {
    unsigned countX = 0, sensors = 0;
    double longest = 0;
    const bool ok =
        camera.getCapabilities(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &countX, nullptr, nullptr, nullptr, nullptr, nullptr, &sensors,
                               nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest);
    output.put(countX);
    output.put(sensors);
    output.put(longest);
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

bool sensor(TavoCamera& camera, Output& output) {
    float celsius = 0;
    const bool ok = camera.getTemperatureSensorStatus(0, &celsius);
    output.put(celsius);
    return ok;
}

bool cooling(TavoCamera& camera, Output& output) {
    COOLING_STATE state{};
    float target = 0, power = 0;
    const bool ok = camera.getCoolingStatus(&state, &target, &power);
    output.put(state);
    output.put(target);
    output.put(power);
    return ok;
}

bool wheel(TavoCamera& camera, Output& output) {
    unsigned count = 0, current = 0, target = 0;
    bool moving = false;
    const bool ok = camera.getFilterWheelStatus(&count, &moving, &current, &target);
    output.put(count);
    output.put(moving);
    output.put(current);
    output.put(target);
    return ok;
}

// What the lines are after a failure is not told.
bool lines(TavoCamera& camera, Output& output) {
    unsigned short value = 0;
    const bool ok = camera.getGPIO(&value);
    output.put(ok ? value : static_cast<unsigned short>(0));
    return ok;
}

bool gain(TavoCamera& camera, Output& output) {
    int level = 0, offset = 0;
    const bool ok = camera.getGain(&level, &offset);
    output.put(level);
    output.put(offset);
    return ok;
}

bool readLong(TavoCamera& camera, Output&) {
    return camera.readCCD(0, 0, kWindow, kWindow, 1, 1);
}

bool readShort(TavoCamera& camera, Output&) {
    return camera.readCCD(0, 0, kWindow, kWindow, 1, 1, kShortExposure);
}

std::vector<Operation> openAndClose() {
    return {
        {.name = "open",
         .served = kAll,
         .prepare = closed,
         .run = openAndLook,
         .failures = {"Failed to initialize device", "Failed to open device"},
         .failed = kClosed},
        {.name = "close",
         .served = kAll,
         .prepare = asItIs,
         .run =
             [](TavoCamera& camera, Output&) {
                 camera.close();
                 return true;
             },
         .succeeded = kClosed},
        {.name = "getCapabilities (record)",
         .served = kAll,
         .prepare = asItIs,
         .run = capabilities},
        {.name = "getCapabilities (values)",
         .served = kAll,
         .prepare = asItIs,
         .run = capabilitiesOneByOne},
        {.name = "setParam, getParam", .served = kAll, .prepare = asItIs, .run = parameters},
        {.name = "accessors, delay, sizes", .served = kAll, .prepare = asItIs, .run = accessors},
    };
}

std::vector<Operation> exposures() {
    return {
        {.name = "setPreviewMode",
         .served = kCooled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera,
                   Output&) { return camera.setPreviewMode(true) && camera.setPreviewMode(false); },
         .refusal = kUnsupported},
        {.name = "set8BitMode",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera,
                   Output&) { return camera.set8BitMode(true) && camera.set8BitMode(false); },
         .refusal = kUnsupported},
        {.name = "setDarkFrameMode",
         .served = {RIDGE_CAMERA},
         .prepare = asItIs,
         .run =
             [](TavoCamera& camera, Output&) {
                 return camera.setDarkFrameMode(true) && camera.setDarkFrameMode(false);
             }},
        {.name = "startExposure",
         .served = kLong,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.startExposure(false); },
         .failures = {"Failed to start exposure"},
         .refusal = "Failed to start exposure",
         .succeeded = kExposing},
        {.name = "abortExposure",
         .served = kAll,
         .prepare = exposing,
         .run = [](TavoCamera& camera, Output&) { return camera.abortExposure(); },
         .failures = {nullptr}},
        {.name = "readCCD (long)",
         .served = kLong,
         .prepare = exposing,
         .run = readLong,
         .failures = {"Failed to read CCD"},
         .refusal = "Operation out of sequence",
         .succeeded = kPending},
        {.name = "readCCD (timed)",
         .served = kAll,
         .prepare = asItIs,
         .run = readShort,
         .failures = {"Failed to read CCD"},
         .succeeded = kPending},
        {.name = "getImage",
         .served = kAll,
         .prepare = requested,
         .run = fetch,
         .failures = {"Failed to get image"},
         .mayThrow = true},
        {.name = "getImage (one sample)",
         .served = {HERON_CAMERA},
         .prepare = requestedPlain,
         .run = fetch,
         .failures = {"Failed to get image"},
         .servedOnly = true,
         .mayThrow = true},
        {.name = "getImage (8 bits)",
         .served = {LUMEN_CAMERA},
         .prepare = requestedEightBit,
         .run = fetch,
         .failures = {"Failed to get image"},
         .servedOnly = true},
        {.name = "setShutter",
         .served = {RIDGE_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setShutter(true); },
         .failures = {"Failed to set shutter"},
         .refusal = kUnsupported},
    };
}

std::vector<Operation> thermals() {
    return {
        {.name = "getTemperatureSensorStatus",
         .served = {BASIN_CAMERA, RIDGE_CAMERA, GLINT_CAMERA, LUMEN_CAMERA},
         .prepare = asItIs,
         .run = sensor,
         .failures = {"Failed to read temperature sensor status"},
         .refusal = "Failed to read temperature sensor status"},
        {.name = "getCoolingStatus",
         .served = kCooled,
         .prepare = asItIs,
         .run = cooling,
         .failures = {"Failed to set cooling status"},
         .refusal = kUnsupported},
        {.name = "setCooling",
         .served = kCooled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setCooling(-10.0f); },
         .failures = {"Failed to set temperature"},
         .refusal = kUnsupported},
        {.name = "initiateWarmUp",
         .served = kCooled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.initiateWarmUp(); },
         .failures = {"Failed to initiate warmup"},
         .refusal = kUnsupported},
    };
}

std::vector<Operation> accessories() {
    return {
        {.name = "getFilterWheelStatus",
         .served = kWheeled,
         .prepare = asItIs,
         .run = wheel,
         .failures = {"Failed to get filter wheel status"},
         .refusal = kUnsupported},
        {.name = "setFilter",
         .served = kWheeled,
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setFilter(2); },
         .failures = {"Failed to set filter"},
         .refusal = kUnsupported},
        {.name = "setGuideRelays",
         .served = {RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGuideRelays(0x05); },
         .failures = {"Failed to set guide relays"},
         .refusal = kUnsupported},
        {.name = "setGPIODirection",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGPIODirection(3); },
         .failures = {"Failed to set GPIO direction"},
         .refusal = kUnsupported},
        {.name = "getGPIO",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = lines,
         .failures = {"Failed to get GPIO"},
         .refusal = kUnsupported},
        {.name = "setGPIO",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGPIO(1); },
         .failures = {"Failed to set GPIO"},
         .refusal = kUnsupported},
        {.name = "getGain",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = gain,
         .failures = {nullptr},
         .refusal = kUnsupported,
         .refusalIsSuccess = true},
        {.name = "setGain",
         .served = {LUMEN_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setGain(10, 100); },
         .failures = {nullptr, "Failed to set gain"},
         .refusal = kUnsupported,
         .refusalIsSuccess = true},
    };
}

} // namespace

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> joined;
        for (const auto& part : {openAndClose(), exposures(), thermals(), accessories()})
            joined.insert(joined.end(), part.begin(), part.end());
        return joined;
    }();
    return all;
}

} // namespace tavo::sweep
