// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What every camera is made of, whatever protocol it speaks: a sensor under a sky, a shutter, a
// cooler, a filter wheel and a mount. Keeps account of the light that falls during an exposure.
#pragma once

#include "../controller/clock.h"
#include "../sky/frame.h"
#include "../sky/sensor.h"
#include "../sky/star_field.h"
#include "cooler.h"
#include "filter_wheel.h"
#include "mount.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tavo::virtualcamera {

struct InstrumentParts {
    Sensor sensor;
    bool hasShutter;
    CoolerKind cooler;
    double greatestDrop;
    unsigned filterCount;
    double ambient;
    MountTraits mount;
    std::uint64_t seed;
};

class Instrument {
public:
    Instrument(const InstrumentParts& parts, const Clock& clock);

    // Brings everything up to the present. Called before anything here is asked or changed.
    void advance();

    const Sensor& sensor() const { return ccd; }
    bool hasShutter() const { return shuttered; }
    bool shutterOpen() const { return open; }
    void setShutter(bool open_) { open = open_; }
    Cooler& cooler() { return thermal; }
    FilterWheel& wheel() { return filterWheel; }
    Mount& mount() { return telescope; }

    // An exposure timed by the host: charge gathers from start to finish.
    void startExposure();
    Exposure finishExposure();
    void dropExposure() { running.reset(); }
    bool exposing() const { return running.has_value(); }
    double exposedSeconds() const;
    // An exposure of known length that starts now.
    Exposure timedExposure(double seconds, bool light);

    // The image of an exposure. The instrument outlives it.
    Frame render(const Exposure& exposure, const Window& window) const;

private:
    Passband beam() const;
    void advanceTo(Microseconds now);
    void gather(Microseconds until, const Pointing& shiftBefore, double temperatureBefore,
                std::uint64_t line);
    std::uint64_t nextNoiseSeed();

    const Clock& clock;
    Sensor ccd;
    StarField sky;
    std::vector<HotPixel> hot;
    bool shuttered;
    bool open;
    Cooler thermal;
    FilterWheel filterWheel;
    Mount telescope;
    std::uint64_t seed;
    std::uint64_t exposures = 0;
    std::optional<Exposure> running;
    std::uint64_t lastLine = 0; // of the mount, under the last of its spans
    Microseconds started = 0;
    Microseconds time = 0;
};

} // namespace tavo::virtualcamera
