// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The allocator of the whole test program; without a ScarceMemory it is the usual one.
#include "exposure/scarce_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> smallest{SIZE_MAX};
std::atomic<int> remaining{0};

void* allocate(std::size_t size) noexcept {
    if (size >= smallest && --remaining == 0)
        return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace tavo::test::exposure {

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

} // namespace tavo::test::exposure
