// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware that lead from an empty sensor to an image in the FIFO.
#include "ridge.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

namespace {

constexpr unsigned kCodeInMicroseconds = 0x0400;
constexpr unsigned kPreview = 0x0100;
constexpr unsigned kDark = 0x1000;
constexpr unsigned kAlwaysSet = 0x0043;
constexpr unsigned kLongestMilliseconds = 3000;

} // namespace

struct RidgeFirmware::Readout {
    unsigned code; // 0: the host times the exposure
    Window window;
    unsigned flags;

    bool timed() const { return code != 0; }
    bool preview() const { return (flags & kPreview) != 0; }
    bool dark() const { return (flags & kDark) != 0; }
    bool inMicroseconds() const { return (flags & kCodeInMicroseconds) != 0; }
    double seconds() const { return code * (inMicroseconds() ? 0.000001 : 0.001); }
    unsigned knownFlags() const {
        return kAlwaysSet | kPreview | (timed() ? kCodeInMicroseconds | kDark : 0);
    }
};

void RidgeFirmware::exposureControl(Arguments arguments) {
    const unsigned value = u16le(arguments, 0);
    if (value == 0) {
        journal("command 2 exposure control: prepare");
        sequence.prepare();
    } else if (value == 1) {
        const double seconds = instrument.exposedSeconds();
        if (sequence.finish())
            journal("command 2 exposure control: end after ", seconds, " s");
        else
            journal("command 2 exposure control: end, but nothing is being exposed, ignored");
    } else {
        journal("command 2 exposure control: value ", value, " means nothing, ignored");
    }
}

void RidgeFirmware::clearSensor(Arguments) {
    const bool done = sequence.clear();
    journal("command 4 clear the sensor", done ? "" : ": not prepared, ignored");
}

void RidgeFirmware::startExposure(Arguments) {
    if (!sequence.start())
        journal("command 5 start the exposure: the sensor is not cleared, ignored");
    else
        journal("command 5 start the exposure, shutter ", !instrument.hasShutter()   ? "absent"
                                                          : instrument.shutterOpen() ? "open"
                                                                                     : "closed");
}

void RidgeFirmware::setShutter(Arguments arguments) {
    const unsigned value = u16le(arguments, 0);
    if (!instrument.hasShutter() || value > 1) {
        journal("command 9 shutter: ", value, instrument.hasShutter() ? " means nothing" : "",
                instrument.hasShutter() ? "" : " but there is no shutter", ", ignored");
        return;
    }
    journal("command 9 shutter: ", value == 1 ? "open" : "close");
    instrument.setShutter(value == 1);
}

bool RidgeFirmware::acceptable(const Readout& readout) const {
    const Window& window = readout.window;
    const auto binFits = [this](unsigned bin) { return bin >= 1 && bin <= model.maxBin; };
    const char* problem = nullptr;
    if ((readout.flags & kAlwaysSet) != kAlwaysSet)
        problem = "the flags lack some of 0x0043";
    else if ((readout.flags & ~readout.knownFlags()) != 0)
        problem = readout.timed() ? "the flags hold more than 0x0043, 0x0100, 0x0400 and 0x1000"
                                  : "the flags of an exposure that the host has timed hold more "
                                    "than 0x0043 and 0x0100";
    else if (!readout.inMicroseconds() && readout.code > kLongestMilliseconds)
        problem = "the code is above 3000 ms";
    else if (!binFits(window.binX) || !binFits(window.binY))
        problem = "the binning is not offered";
    else if (window.columns() == 0 || window.rows() == 0)
        problem = "the window is empty";
    else if (window.x + window.width > model.sensor.width ||
             window.y + window.height > model.lineCount())
        problem = "the window leaves the sensor";
    else if (readout.timed() ? !sequence.isExposing() : !sequence.isExposed())
        problem = !readout.timed()       ? "nothing has been exposed"
                  : sequence.isExposed() ? "the host has timed the exposure, so that the code "
                                           "must be 0"
                                         : "the sensor has not been prepared";
    if (problem)
        journal("camera: no data, ", problem);
    return problem == nullptr;
}

// REQUIRES: the request is acceptable.
Exposure RidgeFirmware::takeExposure(const Readout& readout) {
    if (!readout.timed())
        return sequence.take();
    // The camera works its shutter by itself and leaves it closed.
    if (instrument.hasShutter())
        instrument.setShutter(false);
    return sequence.takeTimed(readout.seconds(), !instrument.hasShutter() || !readout.dark());
}

void RidgeFirmware::readOut(Arguments arguments) {
    const Readout readout{.code = u16le(arguments, 0),
                          .window = {.x = u16le(arguments, 6),
                                     .y = u16le(arguments, 8),
                                     .width = u16le(arguments, 10),
                                     .height = u16le(arguments, 12),
                                     .binX = u16le(arguments, 2),
                                     .binY = u16le(arguments, 4)},
                          .flags = u16le(arguments, 14)};
    const Window& window = readout.window;
    journal("command 6 read out: code ", readout.code,
            !readout.timed()           ? ""
            : readout.inMicroseconds() ? " us"
                                       : " ms",
            ", bin ", window.binX, "x", window.binY, ", window ", window.x, ",", window.y, " ",
            window.width, "x", window.height, readout.preview() ? ", preview" : "",
            readout.dark() ? ", dark" : "", ", flags ", hex(readout.flags, 4));
    if (!acceptable(readout))
        return;
    digitiser.send(takeExposure(readout), window, readout.preview(), readout.seconds());
}

} // namespace tavo::virtualcamera
