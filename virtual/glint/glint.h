// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The Glint cameras: no microcontroller and no commands, but registers that a host reaches by
// vendor requests on endpoint 0, and frames of 8-bit pixels on a bulk pipe.
#pragma once

#include "../camera/model.h"
#include "../controller/clock.h"
#include "../controller/journal.h"
#include "../usb/device.h"

#include <memory>
#include <span>

namespace tavo::virtualcamera {

std::span<const Model> glintModels();

// REQUIRES: the model is complete; its sensor is no smaller than two by two pixels.
std::unique_ptr<virtualusb::Device> assembleGlint(const Model& model,
                                                  std::shared_ptr<const Clock> clock, Log log);

} // namespace tavo::virtualcamera
