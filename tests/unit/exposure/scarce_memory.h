// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstddef>

namespace tavo::test::exposure {

// Lets the n-th allocation of at least `size` bytes fail while it lives; the first is number 1.
class ScarceMemory {
public:
    ScarceMemory(std::size_t size, int number);
    ~ScarceMemory();
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;

    bool struck() const; // whether it came to that allocation
};

} // namespace tavo::test::exposure
