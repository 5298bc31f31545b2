// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The telescope mount: it follows the sky not quite perfectly, and four relays on the camera's
// guide port let a host correct it.
#pragma once

#include "../controller/clock.h"
#include "../sky/star_field.h"

#include <cstdint>

namespace tavo::virtualcamera {

enum class Relay { right, left, up, down };

// Arcseconds and seconds. The periodic error is that of the worm of the right-ascension drive: it
// moves the field along x.
struct MountTraits {
    double guideRate = 7.5; // a second, half the speed of the sky
    double driftX = 0.0;    // a second
    double driftY = 0.0;
    double periodicError = 0.0; // greatest distance from the middle
    double period = 480.0;
};

class Mount {
public:
    explicit Mount(const MountTraits& traits_ = {}) : traits(traits_) {}

    void advance(Microseconds now);

    // REQUIRES for both: the mount has been advanced to now. The relays of an axis exclude each
    // other: closing one opens its opposite.
    void close(Relay relay);
    void releaseAll();

    // How far the stars have moved on the sky.
    Pointing shift() const { return shiftAfter(0.0); }
    // Where they will be if the relays stay as they are.
    Pointing shiftAfter(double seconds) const;
    // Until then, and as long as no relay changes, the stars move along a line that is straight
    // enough to be drawn as one. Bends have their times, however often the mount is advanced.
    Microseconds nextBend() const;
    // The number of the line they are on.
    std::uint64_t line() const { return relayChanges + bendsSoFar(); }

private:
    void point(double x, double y);
    std::uint64_t bendsSoFar() const;
    double periodicErrorAt(double seconds) const;

    MountTraits traits;
    Pointing guided; // by the relays
    double directionX = 0.0;
    double directionY = 0.0;
    std::uint64_t relayChanges = 0;
    Microseconds time = 0;
};

} // namespace tavo::virtualcamera
