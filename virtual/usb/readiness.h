// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device node that host programs can wait on. The kernel's USB file system reports a file as
// writable (POLLOUT) while a finished request can be reaped. A plain file is always writable, and
// programs would spin on it; this node is a pipe that is full while there is nothing to reap.
#pragma once

#include <string>

namespace tavo::virtualusb {

class Readiness {
public:
    // Puts the pipe in the place of what may be at `path`. Throws std::system_error.
    explicit Readiness(const std::string& path);
    ~Readiness();
    Readiness(const Readiness&) = delete;
    Readiness& operator=(const Readiness&) = delete;

    void set(bool ready);

private:
    int pipe = -1;
    bool isReady = true;
};

} // namespace tavo::virtualusb
