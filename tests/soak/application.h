// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The program with the driver, started on a bus.
#pragma once

#include "channel.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tavo::soak {

class Application {
public:
    // Throws std::runtime_error when it cannot be started.
    // It writes to this program's standard error when it is `loud`.
    Application(std::vector<std::string> command, std::vector<std::string> environment, bool loud);
    // Kills it when it still runs.
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    Channel& channel() { return *link; }

    // Lets it say where it is, and die.
    void abort();
    // Waits for its end: what waitpid says. The channel has been closed by its other end.
    int wait();
    // What it has written to its standard error; after its end.
    std::string errorText() const;

private:
    std::optional<Channel> link;
    int errors = -1;
    pid_t process = -1;
};

} // namespace tavo::soak
