// SPDX-License-Identifier: LGPL-2.1-or-later
#include "run_command.h"

#include "argument_pointers.h"

#include <cerrno>
#include <optional>
#include <system_error>

#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavo::virtualusb {
namespace {

// The command starts with the signals as this process had them.
class SpawnAttributes {
public:
    explicit SpawnAttributes(const HeldSignals& signals) {
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigmask(&attributes, &signals.before());
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

pid_t start(std::vector<std::string> command, std::vector<std::string> environment,
            const HeldSignals& signals) {
    const SpawnAttributes attributes(signals);
    const auto arguments = argumentPointers(command);
    const auto variables = argumentPointers(environment);
    pid_t child = 0;
    const int error = posix_spawnp(&child, command.front().c_str(), nullptr, attributes.get(),
                                   arguments.data(), variables.data());
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.front());
    return child;
}

std::optional<int> exitStatus(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG) != child)
        return std::nullopt;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A terminal's own signals go to the whole foreground group.
bool reachedChildToo(const siginfo_t& signal, pid_t child) {
    return signal.si_code == SI_KERNEL && getpgid(child) == getpgrp();
}

} // namespace

HeldSignals::HeldSignals() {
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD})
        sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &previous);
}

HeldSignals::~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               const HeldSignals& signals) {
    const pid_t child = start(command, environment, signals);
    for (;;) {
        if (const auto status = exitStatus(child))
            return *status;
        siginfo_t signal{};
        if (sigwaitinfo(&signals.set(), &signal) < 0 || signal.si_signo == SIGCHLD)
            continue;
        if (!reachedChildToo(signal, child))
            kill(child, signal.si_signo);
    }
}

} // namespace tavo::virtualusb
