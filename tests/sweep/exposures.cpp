// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {
namespace {

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

bool requestedInPackets(Bench& bench) {
    constexpr long kSmallPacket = 7; // bytes: the last one is not full
    return requested(bench) && bench.camera().setParam(MAX_PACKET_SIZE, kSmallPacket);
}

bool requestedBinned(Bench& bench) {
    const bool ok = bench.requestBinnedImage();
    bench.feedImage();
    return ok;
}

bool withoutShutter(Bench& bench) {
    return bare(bench) && exposing(bench);
}

bool dark(Bench& bench) {
    return bench.camera().setDarkFrameMode(true);
}

bool preview(Bench& bench) {
    return bench.camera().setPreviewMode(true);
}

bool exposingQuickly(Bench& bench) {
    return bench.camera().startExposure(true);
}

bool exposingPreview(Bench& bench) {
    return preview(bench) && exposing(bench);
}

bool exposingDark(Bench& bench) {
    return dark(bench) && exposing(bench);
}

bool start(TavoCamera& camera, Output&) {
    return camera.startExposure(false);
}

bool startQuickly(TavoCamera& camera, Output&) {
    return camera.startExposure(true);
}

bool abort(TavoCamera& camera, Output&) {
    return camera.abortExposure();
}

// What a failed one leaves in the buffer is of no use.
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

bool readLong(TavoCamera& camera, Output&) {
    return camera.readCCD(0, 0, kWindow, kWindow, 1, 1);
}

bool readShort(TavoCamera& camera, Output&) {
    return camera.readCCD(0, 0, kWindow, kWindow, 1, 1, kShortExposure);
}

bool readBinned(TavoCamera& camera, Output&) {
    return camera.readCCD(0, 0, kBinnedWindow, kBinnedWindow, kBin, kBin, kShortExposure);
}

Operation starting(const char* name, const std::vector<CAMERA_TYPE>& served,
                   bool (*prepare)(Bench&), bool (*run)(TavoCamera&, Output&)) {
    return {.name = name,
            .served = served,
            .prepare = prepare,
            .run = run,
            .failures = {"Failed to start exposure"},
            .refusal = "Failed to start exposure",
            .succeeded = kExposing};
}

Operation reading(const char* name, const std::vector<CAMERA_TYPE>& served, bool (*prepare)(Bench&),
                  bool (*run)(TavoCamera&, Output&)) {
    return {.name = name,
            .served = served,
            .prepare = prepare,
            .run = run,
            .failures = {"Failed to read CCD"},
            .refusal = "Operation out of sequence",
            .succeeded = kPending};
}

Operation fetching(const char* name, const std::vector<CAMERA_TYPE>& served,
                   bool (*prepare)(Bench&)) {
    return {.name = name,
            .served = served,
            .prepare = prepare,
            .run = fetch,
            .failures = {"Failed to get image"},
            .servedOnly = true,
            .mayThrow = true};
}

// A row that other families do not have.
Operation only(Operation operation) {
    operation.servedOnly = true;
    return operation;
}

// A running exposure is left alone.
Operation readingMeanwhile() {
    Operation operation = only(reading("readCCD (timed, exposing)", kLong, exposing, readShort));
    operation.succeeded = {.exposing = true, .pending = true, .lockFree = false};
    operation.failed = kExposing;
    return operation;
}

std::vector<Operation> modes() {
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
    };
}

std::vector<Operation> cycle() {
    return {
        starting("startExposure", kLong, asItIs, start),
        only(starting("startExposure (quick)", kLong, asItIs, startQuickly)),
        only(starting("startExposure (again)", kLong, exposing, start)),
        only(starting("startExposure (dark)", {RIDGE_CAMERA}, dark, start)),
        only(starting("startExposure (no shutter)", {RIDGE_CAMERA}, bare, start)),
        reading("readCCD (long)", kLong, exposing, readLong),
        only(reading("readCCD (long, quick)", {HERON_CAMERA}, exposingQuickly, readLong)),
        only(reading("readCCD (long, preview)", kCooled, exposingPreview, readLong)),
        only(reading("readCCD (long, dark)", {RIDGE_CAMERA}, exposingDark, readLong)),
        only(reading("readCCD (long, no shutter)", {RIDGE_CAMERA}, withoutShutter, readLong)),
        reading("readCCD (timed)", kAll, asItIs, readShort),
        only(reading("readCCD (timed, binned)", kAll, asItIs, readBinned)),
        only(reading("readCCD (timed, preview)", kCooled, preview, readShort)),
        readingMeanwhile(),
        fetching("getImage", kAll, requested),
        fetching("getImage (packets)", kAll, requestedInPackets),
        fetching("getImage (binned)", kAll, requestedBinned),
        fetching("getImage (one sample)", {HERON_CAMERA}, requestedPlain),
        fetching("getImage (8 bits)", {LUMEN_CAMERA}, requestedEightBit),
    };
}

std::vector<Operation> endings() {
    return {
        {.name = "abortExposure",
         .served = kAll,
         .prepare = exposing,
         .run = abort,
         .failures = {nullptr}},
        {.name = "abortExposure (no shutter)",
         .served = {RIDGE_CAMERA},
         .prepare = withoutShutter,
         .run = abort,
         .failures = {nullptr},
         .servedOnly = true},
        {.name = "setShutter",
         .served = {RIDGE_CAMERA},
         .prepare = asItIs,
         .run = [](TavoCamera& camera, Output&) { return camera.setShutter(true); },
         .failures = {"Failed to set shutter"},
         .refusal = kUnsupported},
        {.name = "setShutter (no shutter)",
         .served = {},
         .prepare = bare,
         .run = [](TavoCamera& camera, Output&) { return camera.setShutter(true); },
         .refusal = kUnsupported},
    };
}

} // namespace

std::vector<Operation> exposures() {
    std::vector<Operation> all;
    for (const auto& part : {modes(), cycle(), endings()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

} // namespace tavo::sweep
