// SPDX-License-Identifier: LGPL-2.1-or-later
#include "filter_wheel.h"

#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr double kWheelTimeout = 60;   // seconds; a full turn takes a fraction of that
constexpr double kPollInterval = 0.25; // seconds

} // namespace

WheelStatus readWheel(Session& session) {
    WheelStatus status;
    if (!session.camera().getFilterWheelStatus(&status.filterCount, &status.moving, &status.current,
                                               &status.target))
        throw Failure(kCameraFailed,
                      text("the filter wheel cannot be read: ", lastError(session.camera())));
    return status;
}

void checkFilter(const WheelStatus& status, unsigned filter) {
    if (filter > status.filterCount)
        throw Failure(kUsage,
                      text("there is no filter ", filter, ": this wheel has ", status.filterCount,
                           " positions, so --filter takes 0 to ", status.filterCount,
                           " as the camera counts them (now at ", status.current, ")"));
}

void startFilter(Session& session, unsigned filter) {
    if (!session.camera().setFilter(filter))
        throw Failure(kCameraFailed,
                      text("the camera refused filter ", filter, ": ", lastError(session.camera()),
                           "; tavocam info tells the wheel's positions"));
}

void awaitFilter(Environment& environment, Session& session, Progress& progress, unsigned filter) {
    const double giveUp = environment.clock.monotonic() + kWheelTimeout;
    for (;;) {
        checkInterrupt(environment);
        const WheelStatus status = readWheel(session);
        if (!status.moving && status.current == filter)
            break;
        if (environment.clock.monotonic() >= giveUp)
            throw Failure(kTimedOut, text("the filter wheel did not arrive at ", filter, " within ",
                                          kWheelTimeout, " s (it is at ", status.current,
                                          status.moving ? ", moving" : ", standing",
                                          "): check that nothing blocks it"));
        progress.show(text("filter wheel moving to ", filter, ", now at ", status.current));
        waitUntil(environment, environment.clock.monotonic() + kPollInterval, [](double) {});
    }
    progress.wipe();
}

} // namespace tavocam
