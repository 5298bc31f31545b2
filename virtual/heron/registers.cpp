// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the registers of the Heron cameras do with what is written to them. The control register
// only says what is to be done and works the relays; writing the timer does it.
#include "heron.h"

#include <string>
#include <utility>

namespace tavo::virtualcamera {

namespace {

// Bits of the control register.
constexpr unsigned kRelays = 0x00F;
constexpr unsigned kSweep = 0x020; // of the lines between pixels and converter
constexpr unsigned kConvert = 0x080;
constexpr unsigned kTimed = 0x100;
constexpr unsigned kIntegrate = 0x200;
constexpr unsigned kShift = 0x400;
constexpr unsigned kKnown = kRelays | kSweep | kConvert | kTimed | kIntegrate | kShift;

constexpr unsigned kReadOut = kShift | kConvert | kSweep;
constexpr unsigned kExposeAndReadOut = kReadOut | kIntegrate | kTimed;

const char* nameOf(unsigned mode) {
    switch (mode) {
    case 0: return "nothing";
    case kShift: return "clear the sensor";
    case kShift | kSweep: return "clear the sensor and sweep its lines";
    case kIntegrate: return "start an exposure";
    case kReadOut: return "read out";
    case kExposeAndReadOut: return "time an exposure and read out";
    default: return "a mixture that means nothing";
    }
}

} // namespace

void HeronHead::writeControl(unsigned value) {
    if ((value & ~kKnown) != 0) {
        journal("register 2 control: ", hex(value, 3), " has bits that mean nothing, ignored");
        return;
    }
    journal("register 2 control: ", hex(value, 3), ", to do: ", nameOf(value & ~kRelays),
            ", relays ", hex(value & kRelays, 1));
    if (((value ^ control) & kRelays) != 0)
        setRelays(value & kRelays);
    control = value;
}

// A mount that is told to go both ways along an axis stands still.
void HeronHead::setRelays(unsigned relays) {
    struct Axis {
        unsigned oneWay;
        Relay one;
        Relay other;
    };
    constexpr Axis kAxes[] = {{0x1, Relay::right, Relay::left}, {0x4, Relay::up, Relay::down}};
    if (!model.hasGuidePort) {
        journal("camera: no guide port, the relays are ignored");
        return;
    }
    instrument.mount().releaseAll();
    for (const Axis& axis : kAxes) {
        const bool one = (relays & axis.oneWay) != 0;
        const bool other = (relays & axis.oneWay << 1) != 0;
        if (one != other)
            instrument.mount().close(one ? axis.one : axis.other);
    }
}

void HeronHead::writeBinning(unsigned value) {
    const Binning wanted{(value >> 4 & 0xF) + 1, (value >> 8 & 0xF) + 1};
    const auto offered = [this](unsigned bin) { return bin <= model.maxBin; };
    if ((value & 0xF) != 0 || !offered(wanted.x) || !offered(wanted.y)) {
        journal("register 8 binning: ", hex(value, 3), ", ", wanted.x, "x", wanted.y,
                " is not offered, ignored; there is 1 to ", model.maxBin);
        return;
    }
    binning = std::exchange(nextBinning, wanted);
    journal("register 8 binning: ", wanted.x, "x", wanted.y,
            binning ? ", what was written before is in force: " : ", to be written once more",
            binning ? std::to_string(binning->x) + "x" + std::to_string(binning->y) : "");
}

void HeronHead::writeTimer(unsigned value) {
    const unsigned mode = control & ~kRelays;
    journal("register 5 timer: ", value, ", ", nameOf(mode));
    switch (mode) {
    case kShift:
    case kShift | kSweep: clearSensor(value); break;
    case kIntegrate: startExposure(value); break;
    case kReadOut: readOut(value); break;
    case kExposeAndReadOut: exposeAndReadOut(value); break;
    default: journal("camera: the control register holds nothing to do, ignored");
    }
}

} // namespace tavo::virtualcamera
