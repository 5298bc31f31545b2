// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_PRESENCE_H
#define TAVOCAM_PRESENCE_H

#include <cstddef>
#include <string>

#include "environment.h"
#include "failure.h"

namespace tavocam {

// Whether a camera is still plugged in. A closed camera tells its model only, so cameras of one
// model are counted.
class Presence {
public:
    Presence() = default;
    Presence(const Cameras& cameras, std::string model);

    // Looks again after a moment, since the system learns later of a camera that has gone than a
    // transfer that fails.
    bool isGone(const Environment& environment) const;

private:
    std::string name;
    std::size_t count = 0;
};

// What to tell of a camera that is gone, and what to do.
inline constexpr const char* kGone = "The camera is no longer connected: it was unplugged or lost "
                                     "its power. Plug it in again, check "
                                     "its cable and its power supply, and start over";

// The same failure; told of a camera that is gone, where that is why.
Failure explained(const Failure& failure, const Environment& environment, const Presence& presence);

// Does the work, which closes its camera, and lets its failures tell of a camera that is gone.
template <typename Work>
auto explainingDeparture(const Environment& environment, const Presence& presence,
                         const Work& work) {
    try {
        return work();
    } catch (const Failure& failure) {
        throw explained(failure, environment, presence);
    }
}

} // namespace tavocam

#endif
