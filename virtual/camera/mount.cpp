// SPDX-License-Identifier: LGPL-2.1-or-later
#include "mount.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace tavo::virtualcamera {

namespace {

constexpr double kLinesAPeriod = 32.0;

double secondsOf(Microseconds time) {
    return static_cast<double>(time) / kSecond;
}

} // namespace

void Mount::advance(Microseconds now) {
    const double seconds = secondsOf(now - time);
    guided.x += directionX * traits.guideRate * seconds;
    guided.y += directionY * traits.guideRate * seconds;
    time = now;
}

void Mount::close(Relay relay) {
    switch (relay) {
    case Relay::right: directionX = 1.0; break;
    case Relay::left: directionX = -1.0; break;
    case Relay::up: directionY = 1.0; break;
    case Relay::down: directionY = -1.0; break;
    }
}

void Mount::releaseAll() {
    directionX = 0.0;
    directionY = 0.0;
}

double Mount::periodicErrorAt(double seconds) const {
    return traits.periodicError * std::sin(2.0 * std::numbers::pi * seconds / traits.period);
}

Pointing Mount::shiftAfter(double seconds) const {
    const double then = secondsOf(time) + seconds;
    return {guided.x + directionX * traits.guideRate * seconds + traits.driftX * then +
                periodicErrorAt(then),
            guided.y + directionY * traits.guideRate * seconds + traits.driftY * then};
}

Microseconds Mount::nextBend() const {
    if (traits.periodicError == 0.0)
        return std::numeric_limits<Microseconds>::max();
    return time + static_cast<Microseconds>(traits.period / kLinesAPeriod * kSecond);
}

} // namespace tavo::virtualcamera
