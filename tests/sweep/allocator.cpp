// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocator.h"

#include <cstdlib>
#include <new>

namespace {

struct Watch {
    bool on = false;
    std::size_t number = 0;
    bool fromThenOn = false;
    std::size_t asked = 0, refused = 0;
    long left = 0;
};
thread_local Watch watch;

bool watched() noexcept {
    return watch.on && !tavo::test::insideFake();
}

bool refuses() noexcept {
    ++watch.asked;
    if (watch.number == 0 || watch.asked < watch.number ||
        (!watch.fromThenOn && watch.asked > watch.number))
        return false;
    ++watch.refused;
    return true;
}

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    if (watched() && refuses())
        return nullptr;
    void* memory = nullptr;
    if (alignment <= alignof(std::max_align_t))
        memory = std::malloc(size == 0 ? 1 : size);
    else
        memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory && watched())
        ++watch.left;
    return memory;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    void* memory = allocate(size, alignment);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void release(void* memory) noexcept {
    if (memory && watched())
        --watch.left;
    std::free(memory);
}

constexpr std::size_t kUsual = alignof(std::max_align_t);

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size, kUsual);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size, kUsual);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kUsual);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kUsual);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}

namespace tavo::sweep {

WatchedMemory::WatchedMemory(std::size_t number, test::Repeat repeat) {
    watch = {.on = true, .number = number, .fromThenOn = repeat == test::Repeat::fromThenOn};
}

WatchedMemory::~WatchedMemory() {
    watch = {};
}

std::size_t WatchedMemory::asked() const {
    return watch.asked;
}

std::size_t WatchedMemory::refused() const {
    return watch.refused;
}

long WatchedMemory::left() const {
    return watch.left;
}

} // namespace tavo::sweep
