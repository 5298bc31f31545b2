// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Lumen firmware that lead from an empty sensor to an image in the FIFO.
#include "lumen.h"

#include "../controller/bytes.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tavo::virtualcamera {

namespace {

constexpr unsigned kPreview = 0x01;
constexpr unsigned kCodeInMicroseconds = 0x04;
constexpr unsigned k8Bit = 0x20;

// What kind of readout it is.
constexpr unsigned kHostTimed = 0x43;
constexpr unsigned kCameraTimed = 0x03;

constexpr unsigned kLongestMilliseconds = 3000;
constexpr Microseconds kClearTime = 120 * kMillisecond; // of the sensor
// Samples that the converter holds while it works; an image ends with the last conversion.
constexpr std::size_t kConverterStages = 2;

void highByteRow(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) {
    for (const std::uint16_t value : row)
        bytes.push_back(highByte(value));
}

unsigned roundedUp(unsigned number, unsigned divisor) {
    return (number + divisor - 1) / divisor;
}

} // namespace

struct LumenFirmware::Readout {
    unsigned code;
    Window window; // as it was asked for
    unsigned flags;
    unsigned kind;
    bool gapsAreZero;

    explicit Readout(Arguments arguments)
        : code(u16be(arguments, 0)), window{.x = u16be(arguments, 6),
                                            .y = u16be(arguments, 8),
                                            .width = u16be(arguments, 10),
                                            .height = u16be(arguments, 12),
                                            .binX = arguments[3],
                                            .binY = arguments[5]},
          flags(arguments[14]), kind(arguments[15]),
          gapsAreZero(arguments[2] == 0 && arguments[4] == 0) {}

    bool timed() const { return kind == kCameraTimed; }
    bool preview() const { return (flags & kPreview) != 0; }
    bool eightBit() const { return (flags & k8Bit) != 0; }
    bool inMicroseconds() const { return (flags & kCodeInMicroseconds) != 0; }
    double seconds() const { return code * (inMicroseconds() ? 0.000001 : 0.001); }
    // A column that is begun is read to its end; bytes travel in pairs. REQUIRES: a binning.
    Window covered() const {
        unsigned columns = roundedUp(window.width, window.binX);
        columns += eightBit() ? columns % 2 : 0;
        Window result = window;
        result.width = columns * window.binX;
        return result;
    }
};

bool LumenFirmware::exposureControl(Arguments arguments, Answer&) {
    const unsigned value = u16be(arguments, 0);
    journal("command 2 exposure control: ",
            value == 0 ? "prepare" : "value " + std::to_string(value) + " means nothing, refused");
    if (value != 0)
        return false;
    clearedAt = 0;
    sequence.prepare();
    return true;
}

bool LumenFirmware::clearSensor(Arguments, Answer&) {
    const bool done = sequence.clear();
    journal("command 4 clear the sensor", done ? "" : ": not prepared, refused");
    if (done)
        clearedAt = clock.now() + clock.reactionTime(kClearTime);
    return done;
}

bool LumenFirmware::startExposure(Arguments, Answer&) {
    const bool done = sequence.start();
    journal("command 5 start the exposure", done ? "" : ": the sensor is not cleared, refused");
    return done;
}

const char* LumenFirmware::problemWith(const Readout& readout) const {
    const Window& window = readout.window;
    const auto binFits = [this](unsigned bin) { return bin >= 1 && bin <= model.maxBin; };
    const unsigned known =
        kPreview | (model.has8BitMode ? k8Bit : 0) | (readout.timed() ? kCodeInMicroseconds : 0);
    if (readout.kind != kHostTimed && readout.kind != kCameraTimed)
        return "the last byte is neither 0x43 nor 0x03";
    if (!readout.gapsAreZero)
        return "the bytes before the binnings are not zero";
    if ((readout.flags & ~known) != 0)
        return "the flags hold some that mean nothing to this camera";
    if (!binFits(window.binX) || !binFits(window.binY))
        return "the binning is not offered";
    if (window.width == 0 || window.height / window.binY == 0)
        return "the window is empty";
    if (window.x + window.width > model.sensor.width ||
        window.y + window.height > model.lineCount())
        return "the window leaves the sensor";
    if (readout.timed() == (readout.code == 0))
        return readout.timed() ? "the code is 0" : "the host times the exposure but sends a code";
    if (readout.timed() && !readout.inMicroseconds() && readout.code > kLongestMilliseconds)
        return "the code is above 3000 ms";
    if (!readout.timed() && !sequence.isExposing())
        return "nothing is being exposed";
    return nullptr;
}

double LumenFirmware::registerClearSeconds() const {
    return static_cast<double>(model.registerClearTime) / kSecond;
}

// REQUIRES: nothing is wrong with the request. The sensor goes on gathering light while the
// register is cleared, which hosts take off the time they wait.
Exposure LumenFirmware::takeExposure(const Readout& readout) {
    if (readout.timed()) {
        sequence.prepare();
        sequence.clear();
        return sequence.takeTimed(readout.seconds(), true);
    }
    sequence.finish();
    Exposure exposure = sequence.take();
    const Exposure tail = sequence.takeTimed(registerClearSeconds(), true);
    exposure.light.insert(exposure.light.end(), tail.light.begin(), tail.light.end());
    exposure.darkSeconds += tail.darkSeconds;
    return exposure;
}

bool LumenFirmware::readOut(Arguments arguments, Answer&) {
    const Readout readout{arguments};
    const Window& window = readout.window;
    journal("command 6 read out: ",
            readout.timed() ? "exposed for " + std::to_string(readout.code) +
                                  (readout.inMicroseconds() ? " us" : " ms")
                            : std::string{"timed by the host"},
            ", bin ", window.binX, "x", window.binY, ", window ", window.x, ",", window.y, " ",
            window.width, "x", window.height, readout.preview() ? ", preview" : "",
            readout.eightBit() ? ", 8 bits" : "", ", flags ", hex(readout.flags));
    if (const char* problem = problemWith(readout)) {
        journal("camera: no data, ", problem);
        return false;
    }
    if (!readout.timed())
        journal("camera: exposure ends after ", instrument.exposedSeconds(), " s and the ",
                registerClearSeconds(), " s of the register's clearing");
    Exposure exposure = takeExposure(readout);
    exposure.amplification = gainStage.amplification(readout.preview());
    exposure.offset = gainStage.offset(readout.preview());
    PixelForm form{.lag = kConverterStages};
    if (readout.eightBit()) {
        form.encode = highByteRow;
        form.bytesPerPixel = 1;
    }
    digitiser.send(std::move(exposure), readout.covered(), readout.preview(),
                   readout.timed() ? readout.seconds() : registerClearSeconds(), form);
    return true;
}

} // namespace tavo::virtualcamera
