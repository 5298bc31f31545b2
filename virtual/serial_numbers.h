// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Hosts tell cameras of one model apart by their serial numbers.
#pragma once

#include "options.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

// The serial number that a model has of its own.
using SerialNumberOf = std::function<std::uint32_t(const std::string& model)>;

// Of several cameras of one model, gives those without a serial number the first free ones from the
// model's own on. Throws std::invalid_argument with a text for the user when two ask for the same.
void tellApart(std::vector<CameraRequest>& cameras, const SerialNumberOf& serialNumberOf);

} // namespace tavo::virtualcamera
