// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the driver asks of the process, so that a session can watch it: memory, the end of the
// process, waiting for a lock, and standard error.
#pragma once

#include <cstddef>
#include <cstdio>

namespace tavo::fuzz {

// Thrown in place of ending the process.
struct ProcessEnded {};

// While it lives: arrays above a size cannot be had, exit() throws ProcessEnded, and waiting for
// another thread, of which there is none, is a finding.
class WatchedProcess {
public:
    explicit WatchedProcess(std::size_t largestArray);
    ~WatchedProcess();
    WatchedProcess(const WatchedProcess&) = delete;
    WatchedProcess& operator=(const WatchedProcess&) = delete;
};

// While it lives, the driver's trace is on, and each of its lines that leaves an operation has to
// follow one that entered.
class WatchedTrace {
public:
    WatchedTrace();
    ~WatchedTrace();
    WatchedTrace(const WatchedTrace&) = delete;
    WatchedTrace& operator=(const WatchedTrace&) = delete;

    int depth();
    // After an operation that never came to its end: brings the driver's indentation back.
    void forget();

private:
    std::FILE* original;
};

} // namespace tavo::fuzz
