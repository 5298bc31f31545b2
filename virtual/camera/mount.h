// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The telescope mount on the camera's guide port: four relays, each of which makes the field drift.
#pragma once

#include "../controller/clock.h"
#include "../sky/star_field.h"

namespace tavo::virtualcamera {

enum class Relay { right, left, up, down };

class Mount {
public:
    void advance(Microseconds now);

    // REQUIRES for both: the mount has been advanced to now. The relays of an axis exclude each
    // other: closing one opens its opposite.
    void close(Relay relay);
    void releaseAll();

    // How far the stars have moved on the sky.
    Pointing shift() const { return offset; }
    // Where they will be if the relays stay as they are.
    Pointing shiftAfter(double seconds) const;

    static constexpr double kRate = 7.5; // arcseconds a second, half the speed of the sky

private:
    Pointing offset;
    double directionX = 0.0;
    double directionY = 0.0;
    Microseconds time = 0;
};

} // namespace tavo::virtualcamera
