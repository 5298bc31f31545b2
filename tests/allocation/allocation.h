// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a program that links allocation.cpp, which replaces operator new and delete, has to define.
// Called by every thread, for memory of the program and the driver; libusb takes its own elsewhere.
#pragma once

#include <cstddef>

namespace tavo::allocation {

// Before an allocation; false lets it fail.
bool allowed(std::size_t size) noexcept;
// After one that did not fail.
void made() noexcept;
// Before memory is given back.
void undone() noexcept;

} // namespace tavo::allocation
