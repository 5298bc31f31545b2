// SPDX-License-Identifier: LGPL-2.1-or-later
#include "last_words.h"

#include <array>
#include <csignal>

#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

namespace {

pthread_t firstThread;

// A signal to the process may reach any thread; one that hangs is the first.
void speak(int signal, siginfo_t* info, void*) {
    const bool fromOutside = info->si_code <= 0 && info->si_pid != getpid();
    if (fromOutside && !pthread_equal(pthread_self(), firstThread)) {
        pthread_kill(firstThread, signal);
        return;
    }
    std::signal(signal, SIG_DFL); // also for a stack that cannot be read
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
    std::raise(signal);
}

} // namespace

void tavo::soak::prepareLastWords() {
    firstThread = pthread_self();
    std::array<void*, 1> frame{};
    backtrace(frame.data(), 1); // loads what it needs now, not in a handler
    struct sigaction action {};
    action.sa_sigaction = speak;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        sigaction(signal, &action, nullptr);
}
