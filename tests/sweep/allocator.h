// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The allocator of the whole program, with a count of what the library takes from it. What the fake
// libusb allocates while it plays a camera is not counted and never fails.
#pragma once

#include "fake/fake_usb.h"

#include <cstddef>

namespace tavo::sweep {

// Watches the allocations of this thread while it lives and lets the n-th fail, all from the n-th
// on, or none (0).
class WatchedMemory {
public:
    WatchedMemory(std::size_t number, test::Repeat repeat);
    ~WatchedMemory();
    WatchedMemory(const WatchedMemory&) = delete;
    WatchedMemory& operator=(const WatchedMemory&) = delete;

    std::size_t asked() const;   // allocations, the failed ones among them
    std::size_t refused() const; // allocations that failed
    long left() const;           // allocated and not freed
};

} // namespace tavo::sweep
