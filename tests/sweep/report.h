// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a sweep did and found, and who is told when it never comes back.
#pragma once

#include "tavoccdusb.h"

#include <cstddef>
#include <string>

namespace tavo::sweep {

struct Tally {
    const char* operation = "";
    const char* family = "";
    std::size_t calls = 0;            // of a run without faults
    std::size_t callFaults = 0;       // runs with a fault of libusb
    std::size_t allocations = 0;      // of a run without faults
    std::size_t allocationFaults = 0; // runs with a failed allocation
    std::size_t refused = 0;          // runs that failed as documented
    std::size_t tolerated = 0;        // runs that succeeded all the same
    std::size_t thrown = 0;           // runs that ended in std::bad_alloc, where that may be
    std::size_t endless = 0;          // runs that waited for the camera without end, where they may
    std::size_t findings = 0;
};

// What is tried now. A run that hangs for half a minute, or that ends the process, is named by it
// on the standard output.
void startWatching();
void nowTrying(const std::string& what);
void finishedWatching();

void report(Tally& tally, const std::string& finding);
void printHeading();
void print(const Tally& tally);

} // namespace tavo::sweep
