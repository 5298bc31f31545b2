// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_CLOCK_H
#define TAVOCAM_CLOCK_H

#include <chrono>
#include <string>

namespace tavocam {

// The time of day and the passing of time, replaceable so that a night passes in a moment.
class Clock {
public:
    virtual ~Clock() = default;

    // Seconds since an arbitrary moment; never steps when the time of day is set.
    virtual double monotonic() const = 0;
    virtual std::chrono::system_clock::time_point utc() const = 0;

    // May return early when a signal arrives.
    virtual void sleepUntil(double monotonicDeadline) = 0;
};

class SystemClock : public Clock {
public:
    double monotonic() const override;
    std::chrono::system_clock::time_point utc() const override;
    void sleepUntil(double monotonicDeadline) override;
};

// "2026-01-31T22:15:00.250", milliseconds cut off.
std::string formatUtc(std::chrono::system_clock::time_point moment);

} // namespace tavocam

#endif
