// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstdint>
#include <string>

namespace tavo::soak {

struct Options {
    std::uint64_t seed = 1; // of the first session; each next has the next
    unsigned sessions = 200;
    unsigned jobs = 4;
    std::string model; // empty: as the seeds say
    bool verbose = false;
    bool trace = false;
};

// Ends the process after a mistake, or when it is asked for help.
Options parseOptions(int argc, char** argv);

} // namespace tavo::soak
