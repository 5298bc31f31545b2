// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/scarce_memory.h"

#include "../../allocation/allocation.h"

#include <atomic>
#include <cstdint>

namespace tavo {
namespace {

std::atomic<std::size_t> smallest{SIZE_MAX};
std::atomic<int> remaining{0};

} // namespace

bool allocation::allowed(std::size_t size) noexcept {
    return size < smallest || --remaining != 0;
}

void allocation::made() noexcept {}

void allocation::undone() noexcept {}

namespace test::exposure {

ScarceMemory::ScarceMemory(std::size_t size, int number) {
    remaining = number;
    smallest = size;
}

ScarceMemory::~ScarceMemory() {
    smallest = SIZE_MAX;
}

bool ScarceMemory::struck() const {
    return remaining <= 0;
}

} // namespace test::exposure
} // namespace tavo
