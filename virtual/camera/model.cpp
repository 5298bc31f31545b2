// SPDX-License-Identifier: LGPL-2.1-or-later
#include "model.h"

namespace tavo::virtualcamera {

void makeColour(Model& model, unsigned phase) {
    model.colourPhase = phase;
    model.sensor.mosaic = Mosaic{phase / 2, phase % 2};
}

} // namespace tavo::virtualcamera
