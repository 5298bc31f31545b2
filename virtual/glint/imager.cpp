// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imager.h"

#include "../camera/frame_bytes.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

namespace {

struct Mode {
    std::uint32_t format;
    std::uint32_t mode;
    unsigned binning;
};

constexpr Mode kModes[] = {{0x40000000, 0x40000000, 1}, {0x00000000, 0xA0000000, 2}};

// Share of the dark charge that reaches the converter, of that of the cameras for long exposures:
// with all of it hot pixels would outshine the stars.
constexpr double kLeak = 0.1;

// Pixels are digitised in 16 bits and leave the camera in eight.
RowEncoder eightBitRow(double gamma) {
    return [gamma](std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) {
        constexpr double range = 65536.0;
        for (const std::uint16_t value : row) {
            const double bent = gamma == 1.0 ? value : range * std::pow(value / range, gamma);
            bytes.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(bent) >> 8));
        }
    };
}

} // namespace

void Imager::reset() {
    dropFrame("the camera starts anew");
    formatWord = 0;
    modeWord = 0;
    binning.reset();
    error = false;
}

void Imager::dropFrame(const char* reason) {
    const Microseconds now = clock.now();
    if (now < readAt)
        journal("camera: the frame under way is given up, ", reason);
    else if (fifo.available(now) != 0)
        journal("camera: ", fifo.available(now), " bytes that no one has fetched are dropped, ",
                reason);
    fifo.clear();
    readAt = now;
}

void Imager::refuse(const char* reason) {
    journal("camera: ", reason);
    error = true;
}

void Imager::selectFormat(std::uint32_t value) {
    dropFrame("another format");
    formatWord = value;
    modeWord = 0;
    binning.reset();
    error = false;
    if (std::none_of(std::begin(kModes), std::end(kModes),
                     [&](const Mode& each) { return each.format == value; }))
        refuse("there is no such format");
}

void Imager::selectMode(std::uint32_t value) {
    dropFrame("another mode");
    modeWord = value;
    binning.reset();
    const Mode* found = std::find_if(std::begin(kModes), std::end(kModes), [&](const Mode& each) {
        return each.format == formatWord && each.mode == value;
    });
    if (found == std::end(kModes))
        return refuse("the format has no such mode");
    binning = found->binning;
    error = false;
    journal("camera: frames of ", model.sensor.width / *binning, "x",
            model.sensor.height / *binning, " pixels, bin ", *binning, "x", *binning);
}

void Imager::trigger(const Features& features) {
    if (!binning)
        return refuse("no frame, neither of the modes is chosen");
    // Not an error: the frame that was asked for is still coming.
    if (busy())
        return journal("camera: still at work on a frame, ignored");
    dropFrame("another takes their place");
    error = false;

    const double seconds = features.value(Feature::shutter);
    Exposure exposure = instrument.timedExposure(seconds, true);
    exposure.darkSeconds *= kLeak;
    exposure.amplification = std::pow(10.0, features.value(Feature::gain) / 20.0);
    exposure.offset = features.value(Feature::brightness) / 100.0 * 65535.0;
    const Window window{.x = 0,
                        .y = 0,
                        .width = model.sensor.width,
                        .height = model.sensor.height,
                        .binX = *binning,
                        .binY = *binning};
    auto bytes = std::make_unique<FrameBytes>(instrument.render(exposure, window),
                                              eightBitRow(features.value(Feature::gamma)), 1);
    const double pace = double{kSecond} / model.pixelsPerSecond;
    const Microseconds start = clock.now() + clock.reactionTime(model.readoutLatency) +
                               static_cast<Microseconds>(seconds * double{kSecond});
    readAt = start + static_cast<Microseconds>(static_cast<double>(bytes->size()) * pace) + 1;
    journal("camera: exposes for ", seconds, " s at ", features.value(Feature::frameRate),
            " frames a second, gain ", features.value(Feature::gain), " dB, brightness ",
            features.value(Feature::brightness), " %, gamma ", features.value(Feature::gamma));
    journal("camera: frame of ", bytes->size(), " bytes on its way");
    fifo.stream(std::move(bytes), start, pace);
}

} // namespace tavo::virtualcamera
