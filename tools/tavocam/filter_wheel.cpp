// SPDX-License-Identifier: LGPL-2.1-or-later
#include "filter_wheel.h"

#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr double kWheelTimeout = 60;   // seconds; a full turn takes a fraction of that
constexpr double kPollInterval = 0.25; // seconds

std::string describe(const WheelStatus& status) {
    return text("wheel has ", status.filterCount, " positions, which it counts from 0 or 1, and ",
                "stands at ", status.current);
}

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
                      text("there is no filter ", filter, ": the camera's ", describe(status)));
}

void startFilter(Session& session, const WheelStatus& status, unsigned filter) {
    if (!session.camera().setFilter(filter))
        throw Failure(kCameraFailed,
                      text("the camera refused filter position ", filter, " (",
                           lastError(session.camera()), "); its ", describe(status)));
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
