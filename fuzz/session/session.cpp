// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A whole session with a camera of any family: the input describes the camera, names the operations
// one after the other, and answers the driver's USB calls (see fuzzed_usb.h).
//
// After each operation the lock is free and the trace balanced, and the last error tells what the
// public header says; the process ends only where the camera did not name its kind of temperature
// sensor.
#include "session/fuzzed_usb.h"
#include "session/operations.h"
#include "session/process.h"

#include "core/models.h"

#include <memory>

using tavo::fuzz::FuzzedUsb;
using tavo::fuzz::Input;
using tavo::fuzz::require;
using tavo::fuzz::Session;

namespace {

// Enough for the frames of the cameras here, which may call themselves larger.
constexpr std::size_t kLargestArray = 2 << 20;
constexpr unsigned kMostOperations = 200;

constexpr CAMERA_TYPE kFamilies[] = {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA,
                                     LUMEN_CAMERA};

unsigned productOf(CAMERA_TYPE type) {
    for (const tavo::Model* model = tavo::CAMERAS; model->name; ++model)
        if (model->type == type)
            return model->productId;
    return 0;
}

// A small camera with all that its family may have.
tavo::test::Description describe(Input& input, CAMERA_TYPE type) {
    tavo::test::Description says;
    says.countX = says.countY = type == BASIN_CAMERA ? 65 : 64;
    const unsigned choice = input.u8();
    says.flags = type == HERON_CAMERA ? choice & 0x07 : (choice & 0x13) << 8 | 0x0880;
    says.coolerFlags = input.u8();
    says.versionMajor = 1 + input.below(4);
    return says;
}

struct Listed {
    std::unique_ptr<TavoCamera> owned;
    TavoCameraImpl* camera = nullptr;
};

Listed find(Input& input, FuzzedUsb& usb, CAMERA_TYPE type) {
    Listed found;
    if (input.below(4) == 0) {
        TavoCamera* listed = nullptr;
        if (TavoCamera::list(&listed, 1) == 1)
            found.owned.reset(listed);
    } else {
        found.owned = std::make_unique<TavoCameraImpl>(usb.device(), "Camera", type);
    }
    found.camera = dynamic_cast<TavoCameraImpl*>(found.owned.get());
    return found;
}

// False when the process was ended in the middle of an operation.
bool play(Input& input, FuzzedUsb& usb, CAMERA_TYPE type) {
    const Listed found = find(input, usb, type);
    if (!found.camera)
        return true;
    Session session(input, usb, *found.camera);
    try {
        for (unsigned count = 0; count < kMostOperations && !input.empty(); ++count)
            session.operation();
    } catch (const tavo::fuzz::ProcessEnded&) {
        require(session.mayEnd(), "the process ends for want of a kind of temperature sensor");
        session.finish();
        return false;
    }
    session.finish();
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const CAMERA_TYPE type = kFamilies[input.below(std::size(kFamilies))];
    const bool traced = input.flag();
    auto script = tavo::test::healthyCamera(type, describe(input, type));
    libusb_device device{.vendor = 0x0547, .product = static_cast<std::uint16_t>(productOf(type))};
    FuzzedUsb usb(input, script, &device, type);
    const tavo::fuzz::WatchedProcess process(kLargestArray);
    if (!traced) {
        play(input, usb, type);
        return 0;
    }
    tavo::fuzz::WatchedTrace trace;
    if (play(input, usb, type))
        require(trace.depth() == 0, "every operation that was entered is left");
    else
        trace.forget();
    return 0;
}
