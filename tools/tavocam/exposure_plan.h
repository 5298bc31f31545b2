// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_EXPOSURE_PLAN_H
#define TAVOCAM_EXPOSURE_PLAN_H

#include <string>
#include <vector>

#include "arguments.h"
#include "tavoccdusb.h"

namespace tavocam {

// The cameras' host-timed exposures have no limit of their own; this one catches typing errors.
inline constexpr double kLongestExposure = 86400; // seconds

// What the temperature sensors can express starts at -60; nobody cools to more than +50.
inline constexpr double kLowestTarget = -60; // degrees Celsius
inline constexpr double kHighestTarget = 50; // degrees Celsius

// A request that this camera can serve.
struct ExposurePlan {
    bool timed = false; // by the camera; otherwise by the host
    double seconds = 0;
    Window window; // whole binned pixels
    Binning binning;
    bool closeShutter = false;      // ask the camera for a dark frame
    std::vector<std::string> notes; // where the plan departs from the request
};

// Compares the request with the camera; throws Failure naming the limits that it misses.
ExposurePlan planExposure(CAMERA_TYPE type, const TavoCapabilities& capabilities,
                          const ExposeRequest& request);

} // namespace tavocam

#endif
