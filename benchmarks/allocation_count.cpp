// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocation_count.h"

#include "../tests/allocation/allocation.h"

#include <atomic>

namespace tavo {
namespace {

std::atomic<std::size_t> count{0};

} // namespace

bool allocation::allowed(std::size_t) noexcept {
    ++count;
    return true;
}

void allocation::made() noexcept {}

void allocation::undone() noexcept {}

std::size_t bench::allocationCount() {
    return count;
}

} // namespace tavo
