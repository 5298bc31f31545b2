// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every transfer of every operation fails once, in every way, and once for good.
#include "exposure/exposure_test.h"
#include "exposure/patient_camera.h"

#include <ostream>
#include <set>

namespace tavo::test::exposure {
namespace {

using Prepare = std::unique_ptr<TavoCameraImpl> (*)(CAMERA_TYPE);
using Run = bool (*)(TavoCameraImpl&);

struct Operation {
    const char* name;
    CAMERA_TYPE type;
    bool shutter;
    Prepare prepare;
    Run run;
    const char* error;              // the text of a failure
    Expected succeeded, failed;     // the state afterwards
    std::size_t transfers;          // of a healthy run
    std::set<std::size_t> forgiven; // transfers whose failure does not fail the operation
    std::size_t trailing;           // transfers made after a failure
};

std::unique_ptr<TavoCameraImpl> pending(CAMERA_TYPE type) {
    auto camera = pendingCamera(type);
    CameraPeer(*camera).pixelCountX() = 8;
    CameraPeer(*camera).pixelCountY() = 8;
    return camera;
}

bool start(TavoCameraImpl& camera) {
    return camera.startExposure(false);
}

bool abandon(TavoCameraImpl& camera) {
    return camera.abortExposure();
}

bool openShutter(TavoCameraImpl& camera) {
    return camera.setShutter(true);
}

bool read(TavoCameraImpl& camera) {
    return readCCD(camera, {});
}

bool readTimed(TavoCameraImpl& camera) {
    return readCCD(camera, {}, 0.1);
}

bool fetch(TavoCameraImpl& camera) {
    std::uint16_t image[8] = {};
    return camera.getImage(image, 8);
}

constexpr Expected kIdle{};
constexpr Expected kExposing{.exposing = true};
constexpr Expected kPending{.pending = true, .lockFree = false};

Operation starting(const char* name, CAMERA_TYPE type, bool shutter, std::size_t transfers,
                   std::set<std::size_t> forgiven = {}) {
    return {name,      type,  shutter,   idleCamera,          start, "Failed to start exposure",
            kExposing, kIdle, transfers, std::move(forgiven), 0};
}

Operation reading(const char* name, CAMERA_TYPE type, bool shutter, std::size_t transfers,
                  std::set<std::size_t> forgiven = {}) {
    return {name,     type,  shutter,   exposingCamera,      read, "Failed to read CCD",
            kPending, kIdle, transfers, std::move(forgiven), 0};
}

Operation timing(const char* name, CAMERA_TYPE type, std::size_t transfers,
                 std::set<std::size_t> forgiven = {}) {
    return {name,     type,  false,     idleCamera,          readTimed, "Failed to read CCD",
            kPending, kIdle, transfers, std::move(forgiven), 0};
}

Operation fetching(const char* name, CAMERA_TYPE type, std::size_t transfers,
                   std::set<std::size_t> forgiven = {}, std::size_t trailing = 0) {
    return {name,      type,
            false,     pending,
            fetch,     "Failed to get image",
            kIdle,     kIdle,
            transfers, std::move(forgiven),
            trailing};
}

std::vector<Operation> operations() {
    return {
        starting("StartBasin", BASIN_CAMERA, false, 6),
        starting("StartRidge", RIDGE_CAMERA, false, 9),
        starting("StartRidgeShutter", RIDGE_CAMERA, true, 12),
        starting("StartHeron", HERON_CAMERA, false, 8, {1, 2, 3, 4}),
        starting("StartLumen", LUMEN_CAMERA, false, 10, {5, 6, 7, 8}),
        {"AbortRidgeShutter",
         RIDGE_CAMERA,
         true,
         exposingCamera,
         abandon,
         kUntouched,
         kIdle,
         kIdle,
         3,
         {},
         0},
        {"ShutterRidge",
         RIDGE_CAMERA,
         true,
         exposingCamera,
         openShutter,
         "Failed to set shutter",
         kExposing,
         kExposing,
         3,
         {},
         0},
        reading("ReadBasin", BASIN_CAMERA, false, 6),
        reading("ReadRidge", RIDGE_CAMERA, false, 7, {1}),
        reading("ReadRidgeShutter", RIDGE_CAMERA, true, 10, {1}),
        reading("ReadHeron", HERON_CAMERA, false, 9, {1, 2, 3, 4, 5}),
        reading("ReadLumen", LUMEN_CAMERA, false, 2),
        timing("TimedBasin", BASIN_CAMERA, 2),
        timing("TimedRidge", RIDGE_CAMERA, 13, {1}),
        timing("TimedHeron", HERON_CAMERA, 9, {1, 2, 3, 4, 5}),
        timing("TimedGlint", GLINT_CAMERA, 5, {1, 2, 3, 4, 5}),
        timing("TimedLumen", LUMEN_CAMERA, 2),
        fetching("ImageBasin", BASIN_CAMERA, 2),
        fetching("ImageRidge", RIDGE_CAMERA, 3, {3}, 1),
        fetching("ImageHeron", HERON_CAMERA, 7, {1, 2, 7}, 1),
        fetching("ImageGlint", GLINT_CAMERA, 1),
        fetching("ImageLumen", LUMEN_CAMERA, 2),
    };
}

std::ostream& operator<<(std::ostream& stream, const Operation& operation) {
    return stream << operation.name;
}

class ExposureFaultsTest : public UnitTest, public ::testing::WithParamInterface<Operation> {
protected:
    // Runs the operation against a camera of which transfer `number` fails.
    void play(std::size_t number, Fault fault, Repeat repeat, bool succeeds) {
        SCOPED_TRACE(::testing::Message() << fault.name << " at transfer " << number);
        const Operation& operation = GetParam();
        usb().reset();
        usb().respondWith(&peer);
        if (number != 0)
            usb().failTransfer(number, fault, repeat);
        const auto camera = operation.prepare(operation.type);
        CameraPeer(*camera).hasShutter() = operation.shutter;
        CapturedTrace trace;
        EXPECT_EQ(operation.run(*camera), succeeds);
        EXPECT_STREQ(camera->getLastError(), succeeds ? kUntouched : operation.error);
        expectState(*camera, succeeds ? operation.succeeded : operation.failed);
        EXPECT_EQ(traceDepth(), 0);
    }

    PatientCamera peer;
};

// Tracing must not add traffic to what is counted, except for a GLINT_CAMERA, which reads back.
TEST_P(ExposureFaultsTest, HealthyRun) {
    play(0, kInputOutputError, Repeat::once, true);
    const std::size_t readBack = GetParam().run == readTimed && GetParam().type == GLINT_CAMERA;
    EXPECT_EQ(usb().transferCount(), GetParam().transfers + 8 * readBack);
}

TEST_P(ExposureFaultsTest, OneTransferFails) {
    for (std::size_t number = 1; number <= GetParam().transfers; ++number) {
        const bool forgiven = GetParam().forgiven.count(number) != 0;
        for (const Fault& fault : kErrors) {
            play(number, fault, Repeat::once, forgiven);
            if (!forgiven) {
                EXPECT_EQ(usb().transferCount(), number + GetParam().trailing) << number;
            }
        }
    }
}

// Writes are not counted, and reads ask for the rest.
TEST_P(ExposureFaultsTest, OneTransferIsShort) {
    for (std::size_t number = 1; number <= GetParam().transfers; ++number)
        play(number, kShortCount, Repeat::once, true);
}

TEST_P(ExposureFaultsTest, CameraGoesAwayForGood) {
    const Operation& operation = GetParam();
    for (std::size_t number = operation.transfers; number > 0; --number) {
        bool forgiven = true;
        for (std::size_t lost = number; lost <= operation.transfers; ++lost)
            forgiven = forgiven && operation.forgiven.count(lost) != 0;
        play(number, kNoDevice, Repeat::fromThenOn, forgiven);
    }
}

INSTANTIATE_TEST_SUITE_P(All, ExposureFaultsTest, ::testing::ValuesIn(operations()),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

} // namespace
} // namespace tavo::test::exposure
