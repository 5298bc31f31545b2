// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstdint>
#include <sys/time.h>
#include <unistd.h>

namespace tavo {

// Pauses the calling thread. The argument is in MICROSECONDS, whatever the name says.
inline void sleepms(std::int64_t microseconds) {
    usleep(static_cast<useconds_t>(microseconds));
}

class Stopwatch {
public:
    Stopwatch() { gettimeofday(&start, nullptr); }

    double seconds() const {
        timeval now{};
        gettimeofday(&now, nullptr);
        const std::int64_t microseconds =
            (std::int64_t{now.tv_sec} - start.tv_sec) * 1000000 + (now.tv_usec - start.tv_usec);
        return static_cast<double>(microseconds) / 1000000.0;
    }

private:
    timeval start{};
};

} // namespace tavo
