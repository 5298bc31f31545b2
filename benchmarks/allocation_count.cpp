// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocation_count.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{0};

void* counted(std::size_t size) noexcept {
    ++count;
    return std::malloc(size == 0 ? 1 : size);
}

void* countedOrThrow(std::size_t size) {
    void* memory = counted(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return countedOrThrow(size);
}
void* operator new[](std::size_t size) {
    return countedOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
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

namespace tavo::bench {

std::size_t allocationCount() {
    return count;
}

} // namespace tavo::bench
