// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "tavoccdusb.h"

#include <cstdint>

namespace tavo {

struct Model {
    const char* name;
    std::uint32_t productId;
    CAMERA_TYPE type;
};

// Ends with a row of type 0.
extern const Model CAMERAS[];

// The first row with this product id, or null.
const Model* findModel(std::uint32_t productId);

} // namespace tavo
