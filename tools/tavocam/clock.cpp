// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clock.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace tavocam {

double SystemClock::monotonic() const {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::chrono::system_clock::time_point SystemClock::utc() const {
    return std::chrono::system_clock::now();
}

void SystemClock::sleepUntil(double monotonicDeadline) {
    const double whole = std::floor(monotonicDeadline);
    timespec deadline{};
    deadline.tv_sec = static_cast<time_t>(whole);
    deadline.tv_nsec = static_cast<long>((monotonicDeadline - whole) * 1e9);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr);
}

std::string formatUtc(std::chrono::system_clock::time_point moment) {
    const auto sinceEpoch =
        std::chrono::floor<std::chrono::milliseconds>(moment.time_since_epoch());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    const std::time_t time = seconds.count();
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 40> buffer{};
    const std::size_t length =
        std::strftime(buffer.data(), buffer.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(buffer.data() + length, buffer.size() - length, ".%03d",
                  static_cast<int>((sinceEpoch - seconds).count()));
    return buffer.data();
}

} // namespace tavocam
