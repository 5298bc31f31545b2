// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "camera.h"

namespace acceptance {

// Keeps the shutter closed in the exposures to come. REQUIRES: a ridge camera.
class DarkFrames {
public:
    explicit DarkFrames(const Camera& camera_) : camera(camera_) {
        require(camera, camera->setDarkFrameMode(true), "setDarkFrameMode(true)");
    }
    ~DarkFrames() { camera->setDarkFrameMode(false); }
    DarkFrames(const DarkFrames&) = delete;
    DarkFrames& operator=(const DarkFrames&) = delete;

private:
    const Camera& camera;
};

} // namespace acceptance
