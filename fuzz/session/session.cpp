// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A whole session with a camera of any family: the input describes the camera, names the operations
// one after the other, and answers the driver's USB calls (see fuzzed_usb.h).
//
// After each operation the lock is free, the trace balanced and an error has a text; the process
// ends only where the camera did not name its kind of temperature sensor.
#include "session/fuzzed_usb.h"
#include "session/process.h"

#include "core/models.h"
#include "fake/camera_peer.h"

#include <memory>
#include <new>
#include <optional>

using tavo::CameraPeer;
using tavo::fuzz::FuzzedUsb;
using tavo::fuzz::Input;
using tavo::fuzz::require;

namespace {

// Enough for the frames of the cameras here, which may call themselves larger.
constexpr std::size_t kLargestArray = 2 << 20;
constexpr unsigned kMostPixels = 1 << 16;
constexpr unsigned kMostOperations = 200;

class Session {
public:
    Session(Input& given, FuzzedUsb& fuzzedUsb, TavoCameraImpl& driven)
        : input(given), usb(fuzzedUsb), camera(driven), peer(driven) {}

    void operation();
    void finish();
    // Whether the operation under way may end the process.
    bool mayEnd() { return endAllowed && peer.tempSensorType() == 0; }

private:
    void parameter();
    void capabilities();
    void temperature();
    void cooling();
    void wheel();
    void modes();
    void expose();
    void exposeTimed();
    void betweenReadAndImage();
    void image();
    void lines();
    void gain();
    void arithmetic();

    Input& input;
    FuzzedUsb& usb;
    TavoCameraImpl& camera;
    CameraPeer peer;
    tavo::Region region;
    bool endAllowed = false;
};

void Session::parameter() {
    const auto which = static_cast<PARAM_TYPE>(input.below(5));
    if (input.flag())
        camera.setParam(which, input.number<std::int32_t>());
    else
        camera.getParam(which);
}

void Session::capabilities() {
    const char* name = nullptr;
    TavoCapabilities record;
    if (!camera.getCapabilities(input.flag() ? &name : nullptr, nullptr, &record))
        return;
    require(record.coolerType >= COOLER_NONE && record.coolerType <= COOLER_SETPOINT, "cooler");
    require((record.offsetX & ~1) == 0 && (record.offsetY & ~1) == 0, "Bayer phase");
    require(record.maxShortExposure > record.minShortExposure, "limits of short exposures");
}

void Session::temperature() {
    float celsius = 0;
    const unsigned sensor = input.u8();
    const bool asked = input.flag();
    endAllowed = asked && (peer.type() == BASIN_CAMERA || peer.type() == RIDGE_CAMERA);
    camera.getTemperatureSensorStatus(sensor, asked ? &celsius : nullptr);
}

void Session::cooling() {
    COOLING_STATE state = COOLING_INACTIVE;
    float target = 0, power = 0;
    switch (input.below(3)) {
    case 0:
        endAllowed = true;
        camera.getCoolingStatus(input.flag() ? &state : nullptr, input.flag() ? &target : nullptr,
                                input.flag() ? &power : nullptr);
        require(state >= COOLING_INACTIVE && state <= WARMING_UP, "cooling state");
        break;
    case 1:
        endAllowed = true;
        camera.setCooling(input.flag() ? input.number<float>() : -10.0f);
        break;
    default: camera.initiateWarmUp();
    }
}

void Session::wheel() {
    unsigned count = 0, current = 0, target = 0;
    bool moving = false;
    if (input.flag())
        camera.setFilter(input.u16());
    else
        camera.getFilterWheelStatus(input.flag() ? &count : nullptr, &moving, &current, &target);
}

void Session::modes() {
    const bool on = input.flag();
    switch (input.below(3)) {
    case 0: camera.setPreviewMode(on); break;
    case 1: camera.set8BitMode(on); break;
    default: camera.setDarkFrameMode(on);
    }
}

// What an application may do while the lock is kept for getImage.
void Session::betweenReadAndImage() {
    switch (input.below(6)) {
    case 0: modes(); break;
    case 1: parameter(); break;
    case 2: capabilities(); break;
    case 3: camera.close(); break;
    case 4: camera.readCCD(0, 0, 8, 8, 1, 1); break; // out of sequence
    default: break;
    }
}

void Session::image() {
    const unsigned wanted = camera.imageWidth(region.width, region.xBin) *
                            camera.imageHeight(region.height, region.yBin);
    const unsigned size = (input.flag() ? wanted : input.u16()) % kMostPixels;
    const std::unique_ptr<unsigned short[]> buffer(new unsigned short[size]());
    try {
        camera.getImage(buffer.get(), size);
    } catch (const std::bad_alloc&) {
        require(peer.lockIsFree() && !peer.readoutPending(), "a lost frame leaves a free camera");
    }
}

tavo::Region anyRegion(Input& input) {
    if (input.flag())
        return {0, 0, 48, 48, 1, 1};
    if (input.flag())
        return {input.u8(), input.u8(),          input.u8(),
                input.u8(), 1 + input.below(4u), 1 + input.below(4u)};
    return {input.u32(), input.u32(), input.u32(), input.u32(), input.u8(), input.u8()};
}

void Session::expose() {
    if (input.flag())
        camera.startExposure(input.flag());
    if (input.below(8) == 0)
        camera.abortExposure();
    region = anyRegion(input);
    if (camera.readCCD(region.x, region.y, region.width, region.height, region.xBin, region.yBin)) {
        require(!peer.lockIsFree() && peer.readoutPending(), "the lock is kept for the image");
        betweenReadAndImage();
        image();
    }
}

void Session::exposeTimed() {
    region = anyRegion(input);
    const double seconds = input.flag() ? input.u8() / 64.0 : input.number<double>();
    if (camera.readCCD(region.x, region.y, region.width, region.height, region.xBin, region.yBin,
                       seconds)) {
        require(!peer.lockIsFree() && peer.readoutPending(), "the lock is kept for the image");
        betweenReadAndImage();
        image();
    }
}

void Session::lines() {
    unsigned short lines = 0;
    switch (input.below(5)) {
    case 0: camera.setGPIODirection(input.u16()); break;
    case 1: camera.getGPIO(input.flag() ? &lines : nullptr); break;
    case 2: camera.setGPIO(input.u16()); break;
    case 3: camera.setGuideRelays(input.u16()); break;
    default: camera.setShutter(input.flag());
    }
}

void Session::gain() {
    int value = 0, offset = 0;
    if (input.flag())
        camera.setGain(static_cast<std::int8_t>(input.u8()),
                       static_cast<std::int16_t>(input.u16()));
    else
        camera.getGain(input.flag() ? &value : nullptr, input.flag() ? &offset : nullptr);
}

void Session::arithmetic() {
    camera.delay(input.number<double>());
    camera.imageWidth(input.u32(), input.u8());
    camera.imageHeight(input.u32(), input.u8());
    require(camera.getName() != nullptr, "a name");
    camera.getSerialNumber();
    camera.getVersionMajor();
    camera.getVersionMinor();
}

void Session::operation() {
    endAllowed = false;
    switch (input.below(17)) {
    case 0:
    case 1:
        if (camera.open())
            require(peer.handle() != nullptr, "an open camera has a device");
        break;
    case 2: camera.close(); break;
    case 3: parameter(); break;
    case 4: capabilities(); break;
    case 5: temperature(); break;
    case 6: cooling(); break;
    case 7: wheel(); break;
    case 8: modes(); break;
    case 9: camera.abortExposure(); break;
    case 10: image(); break; // out of sequence
    case 11: lines(); break;
    case 12: gain(); break;
    case 13: arithmetic(); break;
    case 14: expose(); break;
    case 15: exposeTimed(); break;
    default: usb.change();
    }
    require(peer.lockIsFree(), "the lock is free after an operation");
    require(camera.getLastError()[0] != '\0', "a last error");
}

void Session::finish() {
    endAllowed = false;
    camera.close();
    require(peer.handle() == nullptr, "a closed camera has no device");
}

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
