// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_EXPOSURE_CLOCK_H
#define TAVOCAM_EXPOSURE_CLOCK_H

#include "tavoccdusb.h"

namespace tavocam {

// The seconds that a camera really exposes when a timed readout asks it for `seconds`: each family
// counts in units of its own, so that the frame's header must not repeat the wish.
double timedExposure(CAMERA_TYPE type, double seconds);

} // namespace tavocam

#endif
