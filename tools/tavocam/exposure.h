// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_EXPOSURE_H
#define TAVOCAM_EXPOSURE_H

#include <chrono>

#include "exposure_plan.h"
#include "frame.h"
#include "progress.h"
#include "session.h"

namespace tavocam {

struct Exposure {
    Frame frame;
    std::chrono::system_clock::time_point start;
    double seconds = 0;                // as exposed
    std::vector<std::string> comments; // what a user of the frame must know
};

// Memory for the planned frame, got before the exposure.
Frame emptyFrame(TavoCamera& camera, const ExposurePlan& plan);

// Exposes and fetches the frame. Throws Failure after a refusal and after a signal, with the
// exposure aborted and the camera ready for another.
Exposure expose(Environment& environment, Session& session, Progress& progress,
                const ExposurePlan& plan, Frame frame);

} // namespace tavocam

#endif
