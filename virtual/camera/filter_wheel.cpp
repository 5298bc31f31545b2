// SPDX-License-Identifier: LGPL-2.1-or-later
#include "filter_wheel.h"

#include <limits>

namespace tavo::virtualcamera {

void FilterWheel::advance(Microseconds now) {
    while (turning && stepEnds <= now)
        step();
    time = now;
}

void FilterWheel::home() {
    if (homed || positions == 0)
        return;
    homed = true;
    turning = true;
    stepEnds = time + kHomingTime;
}

bool FilterWheel::moveTo(unsigned position) {
    if (position >= positions)
        return false;
    goal = position;
    if (!turning && goal != place) {
        turning = true;
        stepEnds = time + kStepTime;
    }
    return true;
}

// The end of homing, or of one step towards the goal.
void FilterWheel::step() {
    if (goal != place) {
        const unsigned forward = (goal + positions - place) % positions;
        place = (place + (forward <= positions / 2 ? 1 : positions - 1)) % positions;
    }
    turning = goal != place;
    stepEnds += kStepTime;
}

Microseconds FilterWheel::nextStep() const {
    return turning ? stepEnds : std::numeric_limits<Microseconds>::max();
}

} // namespace tavo::virtualcamera
