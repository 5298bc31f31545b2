// SPDX-License-Identifier: LGPL-2.1-or-later
#include "virtual_camera/driver.h"

#include "session/process.h"

#include <new>
#include <vector>

namespace tavo::fuzz {
namespace {

constexpr unsigned kMostTransfers = 2000; // of the driver, in one operation

} // namespace

bool Driver::operation() {
    cable.allow(kMostTransfers);
    try {
        serve();
        return true;
    } catch (const ProcessEnded&) {
        return false;
    }
}

void Driver::serve() {
    switch (input.below(6)) {
    case 0: camera.close(); break;
    case 1: ask(); break;
    case 2: camera.open(); break;
    default:
        if (camera.open())
            expose();
    }
}

void Driver::ask() {
    COOLING_STATE state = COOLING_INACTIVE;
    float number = 0;
    unsigned short lines = 0;
    switch (input.below(14)) {
    case 0: camera.getTemperatureSensorStatus(input.below(4), &number); break;
    case 1: camera.getCoolingStatus(&state, &number, nullptr); break;
    case 2: camera.setCooling(static_cast<float>(input.below(60)) - 40.0f); break;
    case 3: camera.initiateWarmUp(); break;
    case 4: camera.getFilterWheelStatus(nullptr, nullptr, nullptr, nullptr); break;
    case 5: camera.setFilter(input.u8()); break;
    case 6: camera.setShutter(input.flag()); break;
    case 7: camera.setGuideRelays(input.u8()); break;
    case 8: camera.setGPIODirection(input.u16()); break;
    case 9: camera.getGPIO(&lines); break;
    case 10: camera.setGPIO(input.u16()); break;
    case 11: camera.getGain(nullptr, nullptr); break;
    case 12: camera.setGain(static_cast<int>(input.below(64)), input.u16() % 513); break;
    default: camera.abortExposure();
    }
}

void Driver::expose() {
    camera.setPreviewMode(input.flag());
    camera.set8BitMode(input.flag());
    camera.setDarkFrameMode(input.flag());
    const unsigned bin = 1 + input.below(4);
    const unsigned x = input.below(48), y = input.below(32);
    const unsigned width = input.u8() % 60, height = input.u8() % 60;
    if (input.flag()) {
        camera.startExposure(input.flag());
        cable.wait(camera.delay(input.u8() / 16.0));
        if (camera.readCCD(x, y, width, height, bin, bin))
            image();
    } else if (camera.readCCD(x, y, width, height, bin, bin, input.u8() / 64.0)) {
        image();
    }
}

void Driver::image() {
    std::vector<unsigned short> pixels(60 * 60);
    try {
        camera.getImage(pixels.data(), static_cast<unsigned>(pixels.size()) - input.u8());
    } catch (const std::bad_alloc&) { // a camera may call itself larger than memory
    }
}

} // namespace tavo::fuzz
