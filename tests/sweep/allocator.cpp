// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocator.h"

#include "../allocation/allocation.h"

namespace tavo {
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
    return watch.on && !test::insideFake();
}

bool refuses() noexcept {
    ++watch.asked;
    if (watch.number == 0 || watch.asked < watch.number ||
        (!watch.fromThenOn && watch.asked > watch.number))
        return false;
    ++watch.refused;
    return true;
}

} // namespace

bool allocation::allowed(std::size_t) noexcept {
    return !watched() || !refuses();
}

void allocation::made() noexcept {
    if (watched())
        ++watch.left;
}

void allocation::undone() noexcept {
    if (watched())
        --watch.left;
}

namespace sweep {

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

} // namespace sweep
} // namespace tavo
