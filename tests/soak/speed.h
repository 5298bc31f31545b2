// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

namespace tavo::soak {

// How much faster than the wall's the time of cameras and driver runs.
inline constexpr double kSpeed = 100;

} // namespace tavo::soak
