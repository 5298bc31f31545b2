// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The waits that are as long as the camera makes them, by name: each is shown to go on, so that the
// list stays true. And those that look like it and end.
#pragma once

#include <cstddef>

namespace tavo::sweep {

// Prints a line a wait; returns how many are not as told.
std::size_t showWaits();

} // namespace tavo::sweep
