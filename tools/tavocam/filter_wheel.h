// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FILTER_WHEEL_H
#define TAVOCAM_FILTER_WHEEL_H

#include "progress.h"
#include "session.h"

namespace tavocam {

struct WheelStatus {
    unsigned filterCount = 0;
    bool moving = false;
    unsigned current = 0;
    unsigned target = 0;
};

// Of a camera with a wheel; throws Failure.
WheelStatus readWheel(Session& session);

// Throws Failure for a position that no wheel of that size has. Whether positions count from 0 or
// from 1 is the camera's, so both ends are left to it.
void checkFilter(const WheelStatus& status, unsigned filter);

// Starts a move of a wheel with that status; throws Failure.
void startFilter(Session& session, const WheelStatus& status, unsigned filter);

// Waits until the wheel stands at the filter. Throws Failure after a time-out and after a signal.
void awaitFilter(Environment& environment, Session& session, Progress& progress, unsigned filter);

} // namespace tavocam

#endif
