// SPDX-License-Identifier: LGPL-2.1-or-later
#include "mount.h"

namespace tavo::virtualcamera {

void Mount::advance(Microseconds now) {
    offset = shiftAfter(static_cast<double>(now - time) / kSecond);
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

Pointing Mount::shiftAfter(double seconds) const {
    return {offset.x + directionX * kRate * seconds, offset.y + directionY * kRate * seconds};
}

} // namespace tavo::virtualcamera
