// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The families of cameras: what there is of each, how one is put together, and which of the
// catalogue's options it takes.
#pragma once

#include "../controller/clock.h"
#include "../controller/journal.h"
#include "../usb/device.h"
#include "model.h"

#include <memory>
#include <span>
#include <string_view>

namespace tavo::virtualcamera {

struct CameraFamily {
    std::string_view name;
    std::span<const Model> (*models)();
    std::unique_ptr<virtualusb::Device> (*assemble)(const Model& model,
                                                    std::shared_ptr<const Clock> clock, Log log);
    // Separated by blanks; beside those that every family takes.
    std::string_view options;
};

std::span<const CameraFamily> families();

} // namespace tavo::virtualcamera
