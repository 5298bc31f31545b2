// SPDX-License-Identifier: LGPL-2.1-or-later
#include "progress.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr int kBarWidth = 30;
constexpr double kLongestNap = 0.2; // seconds, bounds how late a signal is noticed

std::string minutes(double seconds) {
    const long whole = std::lround(std::ceil(seconds));
    return text(whole / 60, ":", std::setw(2), std::setfill('0'), whole % 60);
}

} // namespace

Progress::Progress(Environment& environment, bool quiet)
    : stream(environment.err), enabled(environment.terminal && !quiet) {}

Progress::~Progress() {
    wipe();
}

void Progress::show(const std::string& line) {
    if (!enabled || line == shown)
        return;
    stream << "\r" << line << "\033[K" << std::flush;
    shown = line;
}

void Progress::wipe() {
    if (!shown.empty())
        stream << "\r\033[K" << std::flush;
    shown.clear();
}

std::string progressBar(const std::string& label, double remaining, double total) {
    const double done = total > 0 ? std::clamp(1 - remaining / total, 0.0, 1.0) : 1.0;
    const auto filled = static_cast<std::size_t>(std::lround(done * kBarWidth));
    return text(label, " [", std::string(filled, '#'), std::string(kBarWidth - filled, ' '), "] ",
                minutes(remaining), " left");
}

void checkInterrupt(const Environment& environment) {
    if (const int signal = environment.pendingSignal())
        throw Failure(kSignalBase + signal,
                      text("interrupted (", strsignal(signal), "): no file was written"));
}

void waitUntil(Environment& environment, double deadline,
               const std::function<void(double remaining)>& tick) {
    for (;;) {
        checkInterrupt(environment);
        const double now = environment.clock.monotonic();
        if (now >= deadline)
            return;
        tick(deadline - now);
        environment.clock.sleepUntil(std::min(deadline, now + kLongestNap));
    }
}

} // namespace tavocam
