// SPDX-License-Identifier: LGPL-2.1-or-later
#include "runs.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <system_error>

#include <unistd.h>

namespace tavo::virtualcamera {
namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;

sigset_t endingSignals() {
    sigset_t set{};
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaddset(&set, signal);
    return set;
}

std::vector<std::string> ownEnvironment() {
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry)
        result.emplace_back(*entry);
    return result;
}

} // namespace

int runToEnd(const std::vector<std::string>& command, const std::vector<std::string>& environment,
             const virtualusb::HeldSignals& signals) {
    try {
        return virtualusb::runCommand(command, environment, signals);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "tavo-virtual: cannot run %s\n", error.what());
        return error.code().value() == ENOENT ? 127 : 126;
    }
}

int runOrWait(const Options& options, const virtualusb::HeldSignals& signals) {
    if (!options.command.empty())
        return runToEnd(options.command, ownEnvironment(), signals);
    const sigset_t ending = endingSignals();
    while (sigwaitinfo(&ending, nullptr) < 0) {
    }
    return 0;
}

int awaitEndingSignal(int milliseconds) {
    const sigset_t ending = endingSignals();
    const timespec time{milliseconds / 1000, milliseconds % 1000 * kNanosecondsPerMillisecond};
    const int signal = sigtimedwait(&ending, nullptr, &time);
    return signal > 0 ? signal : 0;
}

} // namespace tavo::virtualcamera
