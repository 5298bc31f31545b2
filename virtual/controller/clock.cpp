// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clock.h"

#include <cmath>

namespace tavo::virtualcamera {

namespace {

Microseconds slowedDown(Microseconds duration, double factor) {
    return static_cast<Microseconds>(std::ceil(static_cast<double>(duration) / factor));
}

Microseconds spedUp(Microseconds duration, double factor) {
    return static_cast<Microseconds>(static_cast<double>(duration) * factor);
}

} // namespace

Microseconds SystemClock::now() const {
    const std::chrono::duration<double, std::micro> elapsed =
        std::chrono::steady_clock::now() - start;
    return static_cast<Microseconds>(elapsed.count() * speed);
}

Microseconds SystemClock::hostTime(Microseconds duration) const {
    return slowedDown(duration, speed);
}

Microseconds SystemClock::cameraTime(Microseconds duration) const {
    return spedUp(duration, speed);
}

Microseconds ManualClock::hostTime(Microseconds duration) const {
    return slowedDown(duration, speed);
}

Microseconds ManualClock::cameraTime(Microseconds duration) const {
    return spedUp(duration, speed);
}

} // namespace tavo::virtualcamera
