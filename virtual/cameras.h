// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "options.h"
#include "usb/device.h"

#include <memory>
#include <vector>

namespace tavo::virtualcamera {

// Prints the models on standard output.
void listModels();

// Gives cameras of one model serial numbers that tell them apart. Throws std::invalid_argument with
// a text for the user.
void numberCameras(Options& options);

// The cameras of the command line in its order. Throws std::invalid_argument with a text for the
// user.
std::vector<std::unique_ptr<virtualusb::Device>> makeCameras(const Options& options);

} // namespace tavo::virtualcamera
