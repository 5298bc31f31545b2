// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocation.h"

#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kUsual = alignof(std::max_align_t);

void* allocate(std::size_t size, std::size_t alignment = kUsual) noexcept {
    if (!tavo::allocation::allowed(size))
        return nullptr;
    void* memory = nullptr;
    if (alignment <= kUsual)
        memory = std::malloc(size == 0 ? 1 : size);
    else
        memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory)
        tavo::allocation::made();
    return memory;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment = kUsual) {
    void* memory = allocate(size, alignment);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void release(void* memory) noexcept {
    if (memory)
        tavo::allocation::undone();
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
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
