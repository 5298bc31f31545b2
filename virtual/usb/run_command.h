// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <csignal>
#include <string>
#include <vector>

namespace tavo::virtualusb {

// Keeps SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGCHLD from this thread, and from those it starts
// later, for as long as it lives, so that runCommand can take them.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    const sigset_t& set() const { return held; }
    const sigset_t& before() const { return previous; }

private:
    sigset_t held{};
    sigset_t previous{};
};

// Runs a command, looked up in PATH, and waits for its end. Returns its exit status, or 128 and the
// signal that killed it. Held signals are passed on to it, except those that a terminal has sent
// to the command as well. Throws std::system_error when the command cannot be started.
int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               const HeldSignals& signals);

} // namespace tavo::virtualusb
