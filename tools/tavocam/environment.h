// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_ENVIRONMENT_H
#define TAVOCAM_ENVIRONMENT_H

#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include "clock.h"
#include "tavoccdusb.h"

namespace tavocam {

using Cameras = std::vector<std::unique_ptr<TavoCamera>>;

// What the program touches outside itself, handed in so that all of it can be replaced.
struct Environment {
    std::ostream& out;
    std::ostream& err;
    Clock& clock;
    std::function<Cameras()> listCameras;
    std::function<int()> pendingSignal; // 0 while nobody has interrupted
    bool terminal = false;              // err is a terminal: progress is worth drawing
};

} // namespace tavocam

#endif
