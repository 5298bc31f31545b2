// SPDX-License-Identifier: LGPL-2.1-or-later
#include "instrument.h"

#include <algorithm>
#include <utility>

namespace tavo::virtualcamera {

Instrument::Instrument(const InstrumentParts& parts, const Clock& clock_)
    : clock(clock_), ccd(parts.sensor), sky(parts.seed), hot(hotPixels(parts.sensor, parts.seed)),
      shuttered(parts.hasShutter), open(!parts.hasShutter),
      thermal(parts.cooler, parts.ambient, parts.greatestDrop), filterWheel(parts.filterCount),
      telescope(parts.mount), seed(parts.seed) {}

void Instrument::advance() {
    const Microseconds now = clock.now();
    for (;;) {
        const Microseconds next = running ? std::min(filterWheel.nextStep(), telescope.nextBend())
                                          : filterWheel.nextStep();
        if (next >= now)
            break;
        advanceTo(next);
    }
    advanceTo(now);
}

void Instrument::advanceTo(Microseconds now) {
    const Pointing shiftBefore = telescope.shift();
    const double temperatureBefore = thermal.sensorTemperature();
    thermal.advance(now);
    telescope.advance(now);
    gather(now, shiftBefore, temperatureBefore);
    filterWheel.advance(now);
    time = now;
}

void Instrument::gather(Microseconds until, const Pointing& shiftBefore, double temperatureBefore) {
    if (!running || until == time)
        return;
    const double seconds = static_cast<double>(until - time) / kSecond;
    const double temperature = 0.5 * (temperatureBefore + thermal.sensorTemperature());
    running->darkSeconds += seconds * darkCurrentFactor(temperature);
    if (!open)
        return;
    // Spans of the same drift through the same filter are one to the renderer.
    const bool still = shiftBefore.x == telescope.shift().x && shiftBefore.y == telescope.shift().y;
    if (still && !running->light.empty()) {
        LightSpan& last = running->light.back();
        const Passband filter = beam();
        if (last.from.x == last.to.x && last.from.y == last.to.y && last.to.x == shiftBefore.x &&
            last.to.y == shiftBefore.y && last.passband.blue == filter.blue &&
            last.passband.green == filter.green && last.passband.red == filter.red) {
            last.seconds += seconds;
            return;
        }
    }
    running->light.push_back({seconds, shiftBefore, telescope.shift(), beam()});
}

Passband Instrument::beam() const {
    return filters()[filterWheel.current()].passband;
}

void Instrument::startExposure() {
    running = Exposure{};
    started = time;
}

double Instrument::exposedSeconds() const {
    return static_cast<double>(time - started) / kSecond;
}

Exposure Instrument::finishExposure() {
    Exposure exposure = std::exchange(running, std::nullopt).value_or(Exposure{});
    exposure.noiseSeed = nextNoiseSeed();
    return exposure;
}

Exposure Instrument::timedExposure(double seconds, bool light) {
    running.reset();
    Exposure exposure;
    exposure.darkSeconds = seconds * darkCurrentFactor(thermal.sensorTemperature());
    if (light)
        exposure.light.push_back(
            {seconds, telescope.shift(), telescope.shiftAfter(seconds), beam()});
    exposure.noiseSeed = nextNoiseSeed();
    return exposure;
}

std::uint64_t Instrument::nextNoiseSeed() {
    return mix(seed + ++exposures);
}

Frame Instrument::render(const Exposure& exposure, const Window& window) const {
    return Frame{ccd, sky.stars(), hot, exposure, window};
}

} // namespace tavo::virtualcamera
