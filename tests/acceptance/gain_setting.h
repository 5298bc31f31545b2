// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Gain and offset, of which lumen cameras have one pair for pictures and one for previews.
#pragma once

#include "camera.h"

#include <string>

namespace acceptance {

struct GainSetting {
    int gain = -1, offset = -1;
    bool operator==(const GainSetting&) const = default;
};

std::string describe(const GainSetting& setting);
// Of the mode that the camera is in. Throw a Failure when the camera refuses.
GainSetting gainSetting(const Camera& camera);
void setGain(const Camera& camera, const GainSetting& setting);

// Leaves the mode's setting as it was also when a step ends early. REQUIRES: destroyed in the mode
// that it was made in.
class KeptGain {
public:
    explicit KeptGain(const Camera& camera_) : camera(camera_), before(gainSetting(camera_)) {}
    ~KeptGain() { camera->setGain(before.gain, before.offset); }
    KeptGain(const KeptGain&) = delete;
    KeptGain& operator=(const KeptGain&) = delete;
    const GainSetting& setting() const { return before; }

private:
    const Camera& camera;
    GainSetting before;
};

} // namespace acceptance
