// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The time a virtual camera lives in: monotonic microseconds that may run faster than the wall.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace tavo::virtualcamera {

using Microseconds = std::uint64_t;

inline constexpr Microseconds kMillisecond = 1000;
inline constexpr Microseconds kSecond = 1000000;

class Clock {
public:
    virtual ~Clock() = default;

    virtual Microseconds now() const = 0;
    // How long the host waits for `duration` of camera time, rounded up.
    virtual Microseconds hostTime(Microseconds duration) const = 0;
    // The camera time that passes during `duration` of the host's, rounded down.
    virtual Microseconds cameraTime(Microseconds duration) const = 0;

    // The camera time for what hosts allow a fixed time by their own clock: that must not take
    // longer when the rest of the camera is slowed down.
    Microseconds reactionTime(Microseconds duration) const {
        return std::min(duration, cameraTime(duration));
    }
};

// Runs `speed` times as fast as the host's monotonic clock. REQUIRES: speed is above 0.
class SystemClock final : public Clock {
public:
    explicit SystemClock(double speed_) : speed(speed_), start(std::chrono::steady_clock::now()) {}

    Microseconds now() const override;
    Microseconds hostTime(Microseconds duration) const override;
    Microseconds cameraTime(Microseconds duration) const override;

private:
    double speed;
    std::chrono::steady_clock::time_point start;
};

// Stands still until it is told to go on, which makes tests independent of the machine.
class ManualClock final : public Clock {
public:
    explicit ManualClock(double speed_ = 1.0) : speed(speed_) {}

    Microseconds now() const override { return cameraTime(host); }
    Microseconds hostTime(Microseconds duration) const override;
    Microseconds cameraTime(Microseconds duration) const override;
    // Both are the host's time.
    void advance(Microseconds duration) { host += duration; }
    Microseconds hostNow() const { return host; }

private:
    double speed;
    Microseconds host = 0;
};

} // namespace tavo::virtualcamera
