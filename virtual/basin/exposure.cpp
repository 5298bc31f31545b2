// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Basin firmware that lead from an empty sensor to an image in the FIFO.
#include "basin.h"

#include "../controller/bytes.h"

#include <cmath>
#include <string>

namespace tavo::virtualcamera {

namespace {

constexpr unsigned kLastMilliseconds = 9; // codes above count tens of milliseconds
constexpr unsigned kReadoutMark = 3;      // the last argument of every readout

// What leaks into the vertical registers during an exposure takes this long to be swept out. Hosts
// allow two seconds.
constexpr Microseconds kSweep = 1900 * kMillisecond;

} // namespace

// Columns and rows count from 1, and an end lies one past the last of them.
struct BasinFirmware::Readout {
    unsigned code; // 0: the host times the exposure
    unsigned binX;
    unsigned binY;
    unsigned left;
    unsigned top;
    unsigned endColumn;
    unsigned endRow;
    unsigned preview;
    unsigned mark;

    bool timed() const { return code != 0; }
    double seconds() const {
        return code <= kLastMilliseconds ? code * 0.001 : (code - kLastMilliseconds) * 0.01;
    }
    // REQUIRES: the coordinates make sense.
    Window window() const {
        return {.x = left - 1,
                .y = top - 1,
                .width = endColumn - left,
                .height = endRow - top,
                .binX = binX,
                .binY = binY};
    }
};

void BasinFirmware::exposureControl(Arguments arguments) {
    const unsigned value = u16le(arguments, 0);
    if (value == 0) {
        journal("command 2 exposure control: prepare");
        sequence.prepare();
    } else if (value == 1) {
        endExposure();
    } else {
        journal("command 2 exposure control: value ", value, " means nothing, ignored");
    }
}

void BasinFirmware::endExposure() {
    if (!sequence.isExposing())
        journal("command 2 exposure control: end, but nothing is being exposed, ignored");
    else if (!registersSwept())
        journal("command 2 exposure control: end, but the registers ",
                sweepStarted ? "are still being swept" : "have not been swept", ", ignored");
    else {
        journal("command 2 exposure control: end after ", instrument.exposedSeconds(), " s");
        sequence.finish();
    }
}

void BasinFirmware::clearSensor(Arguments) {
    const bool done = sequence.clear();
    journal("command 4 clear the sensor", done ? "" : ": not prepared, ignored");
}

void BasinFirmware::startExposure(Arguments) {
    const bool done = sequence.start();
    journal("command 5 start the exposure", done ? "" : ": the sensor is not cleared, ignored");
    if (done)
        sweepStarted.reset();
}

// The exposure goes on meanwhile.
void BasinFirmware::sweepRegisters(Arguments) {
    const bool exposing = sequence.isExposing();
    journal("command 66 sweep the registers",
            exposing ? ", the end of the exposure is near" : ": nothing is being exposed, ignored");
    if (exposing)
        sweepStarted = clock.now();
}

bool BasinFirmware::registersSwept() const {
    if (!sweepStarted)
        return false;
    return clock.now() - *sweepStarted >= clock.reactionTime(kSweep);
}

bool BasinFirmware::acceptable(const Readout& readout) const {
    const auto binFits = [this](unsigned bin) { return bin >= 1 && bin <= model.maxBin; };
    const char* problem = nullptr;
    if (readout.mark != kReadoutMark)
        problem = "the last argument is not 3";
    else if (readout.preview > 1)
        problem = "the preview argument is neither 0 nor 1";
    else if (!binFits(readout.binX) || !binFits(readout.binY))
        problem = "the binning is not offered";
    else if (readout.left == 0 || readout.top == 0)
        problem = "columns and rows count from 1";
    else if (readout.endColumn <= readout.left || readout.endRow <= readout.top)
        problem = "the window ends before it begins";
    else if (readout.endColumn > model.sensor.width + 1)
        problem = "the window ends right of the sensor";
    else if (readout.endRow > model.lineCount() + 1)
        problem = "the window ends below the last line";
    else if (readout.window().columns() == 0 || readout.window().rows() == 0)
        problem = "the window is empty";
    else if (!readout.timed() && !sequence.isExposed())
        problem = "nothing has been exposed";
    if (problem)
        journal("camera: no data, ", problem);
    return problem == nullptr;
}

// REQUIRES: the request is acceptable. The camera times from whatever stage and clears the sensor,
// and with it an image that no one has fetched, by itself.
Exposure BasinFirmware::takeExposure(const Readout& readout) {
    if (!readout.timed())
        return sequence.take();
    fifo.clear();
    return sequence.takeTimed(readout.seconds(), true);
}

void BasinFirmware::report(const Readout& readout) const {
    journal("command 6 read out: code ", readout.code,
            readout.timed()
                ? " (" + std::to_string(std::lround(readout.seconds() * 1000.0)) + " ms)"
                : "",
            ", bin ", readout.binX, "x", readout.binY, ", columns ", readout.left, " to before ",
            readout.endColumn, ", rows ", readout.top, " to before ", readout.endRow,
            readout.preview != 0 ? ", preview" : "");
}

void BasinFirmware::readOut(Arguments arguments) {
    const Readout readout{.code = arguments[0],
                          .binX = arguments[1],
                          .binY = arguments[2],
                          .left = u16le(arguments, 3),
                          .top = u16le(arguments, 5),
                          .endColumn = u16le(arguments, 7),
                          .endRow = u16le(arguments, 9),
                          .preview = arguments[11],
                          .mark = arguments[12]};
    report(readout);
    if (!acceptable(readout))
        return;
    digitiser.send(takeExposure(readout), readout.window(), readout.preview != 0,
                   readout.seconds());
}

} // namespace tavo::virtualcamera
