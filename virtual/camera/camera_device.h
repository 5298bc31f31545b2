// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A whole camera on the end of a USB cable: controller, buses and electronics put together.
#pragma once

#include "../controller/clock.h"
#include "../controller/journal.h"
#include "../usb/device.h"
#include "model.h"

#include <memory>

namespace tavo::virtualcamera {

// REQUIRES: the model is complete; its sensor is no smaller than a pixel.
std::unique_ptr<virtualusb::Device> assembleCamera(const Model& model,
                                                   std::shared_ptr<const Clock> clock, Log log);

} // namespace tavo::virtualcamera
