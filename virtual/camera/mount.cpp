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

Microseconds lineLength(const MountTraits& traits) {
    return static_cast<Microseconds>(traits.period / kLinesAPeriod * kSecond);
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
    case Relay::right: return point(1.0, directionY);
    case Relay::left: return point(-1.0, directionY);
    case Relay::up: return point(directionX, 1.0);
    case Relay::down: return point(directionX, -1.0);
    }
}

void Mount::releaseAll() {
    point(0.0, 0.0);
}

void Mount::point(double x, double y) {
    if (x == directionX && y == directionY)
        return;
    directionX = x;
    directionY = y;
    ++relayChanges;
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
    return (bendsSoFar() + 1) * lineLength(traits);
}

std::uint64_t Mount::bendsSoFar() const {
    return traits.periodicError == 0.0 ? 0 : time / lineLength(traits);
}

} // namespace tavo::virtualcamera
