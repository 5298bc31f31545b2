// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a session is like: all of it follows from its seed.
#pragma once

#include "faults/fault_plan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavo::soak {

inline constexpr const char* kFamilies[] = {"basin", "ridge", "heron", "glint", "lumen"};

// The cable is pulled, and perhaps put back.
struct Pull {
    unsigned after;                // milliseconds from the first call
    std::optional<unsigned> pause; // milliseconds
};

struct Plan {
    std::uint64_t seed;
    std::string model;
    virtualusb::FaultPlan faults;
    std::vector<std::string> faultTexts; // as tavo-virtual takes them
    std::optional<Pull> pull;
    bool faultsWaitForOpen; // faults strike once the camera has been opened

    std::string family() const { return model.substr(0, model.find('-')); }
    std::string text() const;
};

// Of the model, where one is named.
Plan makePlan(std::uint64_t seed, const std::string& model);

} // namespace tavo::soak
