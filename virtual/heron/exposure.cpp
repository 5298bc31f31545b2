// SPDX-License-Identifier: LGPL-2.1-or-later
//
// From an empty sensor to an image in the FIFO: a dummy word and then the whole binned frame.
#include "heron.h"

#include "../controller/bytes.h"
#include "../sky/random.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavo::virtualcamera {

namespace {

// The timer counts periods of 3 MHz divided by 1024.
constexpr double kTimerSeconds = 1024.0 / 3000000.0;
// Counts until the charge of an exposure has been moved away under the shielded lines.
constexpr unsigned kTransferCount = 1000;

// What was in the converter before the first pixel.
constexpr std::uint16_t kDummyWord = 0xFFFF;

// A pixel's line is reset before each sample of it; where it comes to rest varies, and both samples
// of a pixel share that.
constexpr double kResetLevel = 3000.0;
constexpr double kResetNoise = 40.0;

constexpr const char* kBinningUnknown = "the binning has not been written twice";

std::uint16_t word(double value) {
    return static_cast<std::uint16_t>(std::clamp(std::round(value), 0.0, 65535.0));
}

} // namespace

void HeronHead::clearSensor(unsigned value) {
    if (value != 0) {
        journal("camera: clearing wants the timer at 0, ignored");
        return;
    }
    sequence.prepare();
    sequence.clear();
    firstWordAt = 0;
}

void HeronHead::startExposure(unsigned value) {
    if (value != 0)
        journal("camera: an exposure that the host times wants the timer at 0, ignored");
    else if (!sequence.start())
        journal("camera: the sensor has not been cleared, ignored");
    else
        journal("camera: the sensor gathers light");
}

void HeronHead::readOut(unsigned value) {
    const char* problem = nullptr;
    if (!binning)
        problem = kBinningUnknown;
    else if (value != kTransferCount)
        problem = "the timer must be at 1000";
    else if (!sequence.isExposing())
        problem = "nothing has been exposed";
    if (problem) {
        journal("camera: no data, ", problem);
        return;
    }
    journal("camera: end of the exposure after ", instrument.exposedSeconds(), " s");
    sequence.finish();
    send(sequence.take(), 0.0);
}

void HeronHead::exposeAndReadOut(unsigned value) {
    const char* problem = nullptr;
    if (!binning)
        problem = kBinningUnknown;
    else if (value == 0)
        problem = "the timer must be from 1 to 4095";
    if (problem) {
        journal("camera: no data, ", problem);
        return;
    }
    const double seconds = value * kTimerSeconds;
    journal("camera: exposes for ", seconds, " s");
    send(sequence.takeTimed(seconds, true), seconds);
}

// REQUIRES: the binning is known.
void HeronHead::send(const Exposure& exposure, double seconds) {
    const Window whole{.x = 0,
                       .y = 0,
                       .width = model.sensor.width,
                       .height = model.sensor.height,
                       .binX = binning->x,
                       .binY = binning->y};
    firstWordAt = clock.now() + clock.reactionTime(model.readoutLatency) +
                  static_cast<Microseconds>(seconds * double{kSecond});
    journal("camera: frame of ", whole.columns(), "x", whole.rows(), " pixels of ",
            model.samplesPerPixel, " samples on its way");
    auto frame = std::make_unique<FrameBytes>(instrument.render(exposure, whole),
                                              rowEncoder(exposure.noiseSeed), bytesPerPixel());
    frameBytes = frame->size();
    sendFrom(std::move(frame));
}

void HeronHead::sendFrom(std::unique_ptr<ByteSource> frame) {
    fifo.clear();
    fifo.put({lowByte(kDummyWord), highByte(kDummyWord)}, firstWordAt);
    fifo.stream(std::move(frame), firstWordAt,
                double{kSecond} / (model.pixelsPerSecond * static_cast<double>(bytesPerPixel())));
}

RowEncoder HeronHead::rowEncoder(std::uint64_t noiseSeed) const {
    const std::size_t samples = model.samplesPerPixel;
    if (!frontEnd.holds(heronFrontEndWords(model))) {
        journal("front end: not programmed as the camera's memory says, it converts nothing");
        return [samples](std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) {
            bytes.resize(bytes.size() + 2 * samples * row.size());
        };
    }
    if (samples == 1)
        return littleEndianRow;
    // A host adds twice the difference to the offset that the memory tells.
    return [bias = model.sensor.bias, noise = GaussianNoise{noiseSeed + 1}](
               std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) mutable {
        for (const std::uint16_t value : row) {
            const std::uint16_t reference = word(kResetLevel + kResetNoise * double{noise.next()});
            appendU16le(bytes, reference);
            appendU16le(bytes, word(reference + 0.5 * (value - bias)));
        }
    };
}

} // namespace tavo::virtualcamera
