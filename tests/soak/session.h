// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One session: a camera that goes wrong as planned, and a program that uses it.
#pragma once

#include "plan.h"
#include "record.h"

#include <string>

namespace tavo::soak {

struct SessionOptions {
    std::string program;    // with the driver
    std::string references; // directory of the pictures that sound cameras take
    bool verbose = false;   // tells every call
    bool trace = false;     // the driver tells what it does, on standard error
};

// Tells of what it finds on standard output. Throws std::runtime_error when there is nothing to run
// a session with.
Record runSession(const Plan& plan, const SessionOptions& options);

} // namespace tavo::soak
