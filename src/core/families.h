// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A value for each camera family. The five named members have no defaults, so that g++ refuses a
// table that leaves a family out (-Wmissing-field-initializers; clang++ says nothing).
#pragma once

#include "tavoccdusb.h"

namespace tavo {

template <typename Value>
struct PerFamily {
    Value basin, ridge, heron, glint, lumen;

    // Null for a type value that is no family.
    constexpr const Value* find(CAMERA_TYPE type) const {
        switch (type) {
        case BASIN_CAMERA: return &basin;
        case RIDGE_CAMERA: return &ridge;
        case HERON_CAMERA: return &heron;
        case GLINT_CAMERA: return &glint;
        case LUMEN_CAMERA: return &lumen;
        }
        return nullptr;
    }

    constexpr Value get(CAMERA_TYPE type, Value otherwise) const {
        const Value* found = find(type);
        return found ? *found : otherwise;
    }
};

} // namespace tavo
