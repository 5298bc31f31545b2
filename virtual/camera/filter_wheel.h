// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A wheel of filters that turns one position at a time, the shorter way round.
#pragma once

#include "../controller/clock.h"

namespace tavo::virtualcamera {

class FilterWheel {
public:
    explicit FilterWheel(unsigned positions_) : positions(positions_) {}

    unsigned count() const { return positions; }
    void advance(Microseconds now);

    // REQUIRES for all of the following: the wheel has been advanced to now.
    // Looks for its first position, once after power-up.
    void home();
    // False when there is no such position.
    bool moveTo(unsigned position);
    bool moving() const { return turning; }
    unsigned current() const { return place; }
    unsigned target() const { return goal; }
    // When the filter in the beam changes next; far away while the wheel stands.
    Microseconds nextStep() const;

    static constexpr Microseconds kStepTime = 400 * kMillisecond;
    static constexpr Microseconds kHomingTime = 2 * kSecond;

private:
    void step();

    unsigned positions;
    unsigned place = 0;
    unsigned goal = 0;
    bool turning = false;
    bool homed = false;
    Microseconds time = 0;
    Microseconds stepEnds = 0;
};

} // namespace tavo::virtualcamera
