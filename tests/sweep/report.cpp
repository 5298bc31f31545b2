// SPDX-License-Identifier: LGPL-2.1-or-later
#include "report.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace tavo::sweep {
namespace {

constexpr unsigned kPatience = 30; // seconds for one run, which takes milliseconds
constexpr std::size_t kMostPrinted = 5;

std::array<char, 512> trying{};
bool finished = false;

void tell(const char* what) {
    for (const char* text : {what, static_cast<const char*>(trying.data()), "\n"}) {
        if (write(STDOUT_FILENO, text, std::strlen(text)) < 0)
            return;
    }
}

void hung(int) {
    tell("FINDING: never came back: ");
    _exit(3);
}

void aborted(int) {
    tell("FINDING: aborted: ");
    _exit(5);
}

void ended() {
    if (finished)
        return;
    std::fflush(stdout);
    tell("FINDING: ended the process: ");
    _exit(4);
}

} // namespace

void startWatching() {
    std::signal(SIGALRM, hung);
    std::signal(SIGABRT, aborted);
    std::atexit(ended);
}

void nowTrying(const std::string& what) {
    what.copy(trying.data(), trying.size() - 1);
    trying[std::min(what.size(), trying.size() - 1)] = 0;
    alarm(kPatience);
}

void finishedWatching() {
    alarm(0);
    finished = true;
}

void report(Tally& tally, const std::string& finding) {
    if (tally.findings++ < kMostPrinted)
        std::printf("FINDING: %s\n", finding.c_str());
    std::fflush(stdout); // it may be the last that is heard
}

void printHeading() {
    std::printf("%-37s %-6s %6s %7s %6s %6s %8s %9s %6s %7s %8s\n", "operation", "family", "calls",
                "faults", "allocs", "faults", "refused", "tolerated", "thrown", "endless",
                "findings");
}

void print(const Tally& tally) {
    std::printf("%-37s %-6s %6zu %7zu %6zu %6zu %8zu %9zu %6zu %7zu %8zu\n", tally.operation,
                tally.family, tally.calls, tally.callFaults, tally.allocations,
                tally.allocationFaults, tally.refused, tally.tolerated, tally.thrown, tally.endless,
                tally.findings);
    std::fflush(stdout);
}

} // namespace tavo::sweep
