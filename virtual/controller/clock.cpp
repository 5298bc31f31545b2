// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clock.h"

#include <cmath>

namespace tavo::virtualcamera {

Microseconds SystemClock::now() const {
    const std::chrono::duration<double, std::micro> elapsed =
        std::chrono::steady_clock::now() - start;
    return static_cast<Microseconds>(elapsed.count() * speed);
}

Microseconds SystemClock::hostTime(Microseconds duration) const {
    return static_cast<Microseconds>(std::ceil(static_cast<double>(duration) / speed));
}

} // namespace tavo::virtualcamera
