// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session/operations.h"

#include <memory>
#include <new>

namespace tavo::fuzz {
namespace {

constexpr unsigned kMostPixels = 1 << 16;
constexpr float kLongestGlintExposure = 0.532782f; // seconds
constexpr const char* kUnsupported = "Unsupported operation";

Region anyRegion(Input& input) {
    if (input.flag())
        return {0, 0, 48, 48, 1, 1};
    if (input.flag())
        return {input.u8(), input.u8(),          input.u8(),
                input.u8(), 1 + input.below(4u), 1 + input.below(4u)};
    return {input.u32(), input.u32(), input.u32(), input.u32(), input.u8(), input.u8()};
}

} // namespace

void Session::parameter() {
    const auto which = static_cast<PARAM_TYPE>(input.below(5));
    const bool known = which == MAX_PACKET_SIZE ||
                       (peer.type() == HERON_CAMERA &&
                        (which == QUICKER_START_EXPOSURE_DELAY || which == QUICKER_READ_CCD_DELAY));
    if (input.flag()) {
        const long value = input.number<std::int32_t>();
        const bool ok =
            lastError.watch({"Invalid parameter"}, [&] { return camera.setParam(which, value); });
        require(ok == known, "a parameter that the family has");
    } else {
        lastError.watch({"Invalid parameter"}, [&] {
            const long value = camera.getParam(which);
            require(known || value == 0, "0 of a parameter that the family has not");
            return known; // a value of 0 says nothing
        });
    }
}

void Session::capabilities() {
    const char* name = nullptr;
    TavoCapabilities record;
    const char** const asked = input.flag() ? &name : nullptr;
    if (!lastError.watch({"Device is not opened"},
                         [&] { return camera.getCapabilities(asked, nullptr, &record); }))
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
    lastError.watch({"Invalid parameter", "Failed to read temperature sensor status"}, [&] {
        return camera.getTemperatureSensorStatus(sensor, asked ? &celsius : nullptr);
    });
}

void Session::cooling() {
    COOLING_STATE state = COOLING_INACTIVE;
    float target = 0, power = 0;
    switch (input.below(3)) {
    case 0:
        endAllowed = true;
        lastError.watch({kUnsupported, "Failed to set cooling status"}, [&] {
            return camera.getCoolingStatus(input.flag() ? &state : nullptr,
                                           input.flag() ? &target : nullptr,
                                           input.flag() ? &power : nullptr);
        });
        require(state >= COOLING_INACTIVE && state <= WARMING_UP, "cooling state");
        break;
    case 1:
        endAllowed = true;
        lastError.watch({kUnsupported, "Failed to set temperature"}, [&] {
            return camera.setCooling(input.flag() ? input.number<float>() : -10.0f);
        });
        break;
    default:
        lastError.watch({kUnsupported, "Failed to initiate warmup"},
                        [&] { return camera.initiateWarmUp(); });
    }
}

void Session::wheel() {
    unsigned count = 0, current = 0, target = 0;
    bool moving = false;
    if (input.flag())
        lastError.watch({kUnsupported, "Failed to set filter"},
                        [&] { return camera.setFilter(input.u16()); });
    else
        lastError.watch({kUnsupported, "Failed to get filter wheel status"}, [&] {
            return camera.getFilterWheelStatus(input.flag() ? &count : nullptr, &moving, &current,
                                               &target);
        });
}

void Session::modes() {
    const bool on = input.flag();
    switch (input.below(3)) {
    case 0: lastError.watch({kUnsupported}, [&] { return camera.setPreviewMode(on); }); break;
    case 1: lastError.watch({kUnsupported}, [&] { return camera.set8BitMode(on); }); break;
    default: lastError.watch({kNoText}, [&] { return camera.setDarkFrameMode(on); });
    }
}

// What an application may do while the lock is kept for getImage.
void Session::betweenReadAndImage() {
    switch (input.below(6)) {
    case 0: modes(); break;
    case 1: parameter(); break;
    case 2: capabilities(); break;
    case 3: close(); break;
    case 4:
        lastError.watch({"Operation out of sequence"},
                        [&] { return camera.readCCD(0, 0, 8, 8, 1, 1); });
        break;
    default: break;
    }
}

void Session::image() {
    const unsigned wanted = camera.imageWidth(region.width, region.xBin) *
                            camera.imageHeight(region.height, region.yBin);
    const unsigned size = (input.flag() ? wanted : input.u16()) % kMostPixels;
    const std::unique_ptr<unsigned short[]> buffer(new unsigned short[size]());
    const char* const text =
        peer.readoutPending() ? "Failed to get image" : "Operation out of sequence";
    try {
        lastError.watch({text}, [&] { return camera.getImage(buffer.get(), size); });
    } catch (const std::bad_alloc&) {
        require(peer.lockIsFree() && !peer.readoutPending(), "a lost frame leaves a free camera");
    }
}

void Session::expose() {
    if (input.flag())
        lastError.watch({"Failed to start exposure"},
                        [&] { return camera.startExposure(input.flag()); });
    if (input.below(8) == 0)
        abort();
    region = anyRegion(input);
    const bool ok = lastError.watch(
        {"Operation out of sequence", "Invalid parameter", "Failed to read CCD"}, [&] {
            return camera.readCCD(region.x, region.y, region.width, region.height, region.xBin,
                                  region.yBin);
        });
    if (ok) {
        require(!peer.lockIsFree() && peer.readoutPending(), "the lock is kept for the image");
        betweenReadAndImage();
        image();
    }
}

void Session::exposeTimed() {
    region = anyRegion(input);
    const double seconds = input.flag() ? input.u8() / 64.0 : input.number<double>();
    const bool quiet =
        peer.type() == GLINT_CAMERA &&
        (region.xBin != region.yBin || static_cast<float>(seconds) > kLongestGlintExposure);
    const bool ok =
        lastError.watch({"Invalid parameter", quiet ? kNoText : "Failed to read CCD"}, [&] {
            return camera.readCCD(region.x, region.y, region.width, region.height, region.xBin,
                                  region.yBin, seconds);
        });
    if (ok) {
        require(!peer.lockIsFree() && peer.readoutPending(), "the lock is kept for the image");
        betweenReadAndImage();
        image();
    }
}

void Session::lines() {
    unsigned short lines = 0;
    switch (input.below(5)) {
    case 0:
        lastError.watch({kUnsupported, "Failed to set GPIO direction"},
                        [&] { return camera.setGPIODirection(input.u16()); });
        break;
    case 1:
        lastError.watch({kUnsupported, "Failed to get GPIO"},
                        [&] { return camera.getGPIO(input.flag() ? &lines : nullptr); });
        break;
    case 2:
        lastError.watch({kUnsupported, "Failed to set GPIO"},
                        [&] { return camera.setGPIO(input.u16()); });
        break;
    case 3:
        lastError.watch({kUnsupported, "Failed to set guide relays"},
                        [&] { return camera.setGuideRelays(input.u16()); });
        break;
    default:
        lastError.watch({kUnsupported, "Failed to set shutter"},
                        [&] { return camera.setShutter(input.flag()); });
    }
}

void Session::gain() {
    int value = 0, offset = 0;
    // Families without a gain say so and succeed: as for the text, that is a failure.
    const bool served = peer.type() == LUMEN_CAMERA;
    const auto watch = [&](std::initializer_list<const char*> texts, auto operation) {
        if (served)
            lastError.watch(texts, operation);
        else
            lastError.watch({kUnsupported}, [&] {
                require(operation(), "success on a family without a gain");
                return false;
            });
    };
    if (input.flag()) {
        const int wanted = static_cast<std::int8_t>(input.u8());
        const int wantedOffset = static_cast<std::int16_t>(input.u16());
        const bool allowed =
            wanted >= 0 && wanted <= 63 && wantedOffset >= 0 && wantedOffset <= 512;
        const char* const text = allowed ? "Failed to set gain" : "Invalid parameter";
        watch({text, allowed ? kNoText : text},
              [&] { return camera.setGain(wanted, wantedOffset); });
    } else {
        watch({"Failed to set gain", kNoText}, [&] {
            return camera.getGain(input.flag() ? &value : nullptr,
                                  input.flag() ? &offset : nullptr);
        });
    }
}

void Session::arithmetic() {
    lastError.watchQuiet([&] {
        camera.delay(input.number<double>());
        camera.imageWidth(input.u32(), input.u8());
        camera.imageHeight(input.u32(), input.u8());
        require(camera.getName() != nullptr, "a name");
        camera.getSerialNumber();
        camera.getVersionMajor();
        camera.getVersionMinor();
    });
}

void Session::open() {
    const bool ok = lastError.watch({"Failed to open device", "Failed to initialize device"},
                                    [&] { return camera.open(); });
    require(!ok || peer.handle() != nullptr, "an open camera has a device");
}

void Session::close() {
    lastError.watchQuiet([&] { camera.close(); });
    require(peer.handle() == nullptr, "a closed camera has no device");
}

// A shutter that does not close is told by false alone.
void Session::abort() {
    lastError.watch({peer.hasShutter() ? kNoText : kUnsupported},
                    [&] { return camera.abortExposure(); });
}

void Session::operation() {
    endAllowed = false;
    switch (input.below(17)) {
    case 0:
    case 1: open(); break;
    case 2: close(); break;
    case 3: parameter(); break;
    case 4: capabilities(); break;
    case 5: temperature(); break;
    case 6: cooling(); break;
    case 7: wheel(); break;
    case 8: modes(); break;
    case 9: abort(); break;
    case 10: image(); break; // out of sequence
    case 11: lines(); break;
    case 12: gain(); break;
    case 13: arithmetic(); break;
    case 14: expose(); break;
    case 15: exposeTimed(); break;
    default: usb.change();
    }
    require(peer.lockIsFree(), "the lock is free after an operation");
}

void Session::finish() {
    endAllowed = false;
    close();
}

} // namespace tavo::fuzz
