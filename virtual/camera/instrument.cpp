// SPDX-License-Identifier: LGPL-2.1-or-later
#include "instrument.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tavo::virtualcamera {

namespace {

// The renderer draws every star once a span.
constexpr std::size_t kMostSpans = 1000;

bool alike(const Passband& a, const Passband& b) {
    return a.blue == b.blue && a.green == b.green && a.red == b.red;
}

// REQUIRES: both lie on one line of the mount.
bool continues(const LightSpan& before, const LightSpan& span) {
    return before.to.x == span.from.x && before.to.y == span.from.y &&
           alike(before.passband, span.passband);
}

Passband mixed(const LightSpan& a, const LightSpan& b) {
    const double part = b.seconds / (a.seconds + b.seconds);
    return {std::lerp(a.passband.blue, b.passband.blue, part),
            std::lerp(a.passband.green, b.passband.green, part),
            std::lerp(a.passband.red, b.passband.red, part)};
}

// Draws two spans as one, of which an exposure of so many can lose a bend.
void halve(std::vector<LightSpan>& light) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i + 1 < light.size(); i += 2)
        light[kept++] = {light[i].seconds + light[i + 1].seconds, light[i].from, light[i + 1].to,
                         mixed(light[i], light[i + 1])};
    if (light.size() % 2 != 0)
        light[kept++] = light.back();
    light.resize(kept);
}

} // namespace

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
    const std::uint64_t line = telescope.line();
    thermal.advance(now);
    telescope.advance(now);
    gather(now, shiftBefore, temperatureBefore, line);
    filterWheel.advance(now);
    time = now;
}

void Instrument::gather(Microseconds until, const Pointing& shiftBefore, double temperatureBefore,
                        std::uint64_t line) {
    if (!running || until == time)
        return;
    const double seconds = static_cast<double>(until - time) / kSecond;
    const double temperature = 0.5 * (temperatureBefore + thermal.sensorTemperature());
    running->darkSeconds += seconds * darkCurrentFactor(temperature);
    if (!open)
        return;
    const LightSpan span{seconds, shiftBefore, telescope.shift(), beam()};
    std::vector<LightSpan>& light = running->light;
    if (!light.empty() && line == lastLine && continues(light.back(), span)) {
        light.back().seconds += seconds;
        light.back().to = span.to;
        return;
    }
    if (light.size() >= kMostSpans)
        halve(light);
    light.push_back(span);
    lastLine = line;
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
