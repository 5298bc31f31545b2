// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstddef>

namespace tavo::bench {

// Of the program and the driver, which take their memory by operator new; libusb does not.
std::size_t allocationCount();

} // namespace tavo::bench
