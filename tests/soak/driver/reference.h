// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a sound camera of the model is like, and the picture that it takes.
#pragma once

#include <tavoccdusb.h>

#include <string>
#include <vector>

namespace tavo::soak {

struct Reference {
    TavoCapabilities capabilities{};
    int gain = 0, offset = 0;
    std::vector<unsigned short> pixels;
};

// Throws std::runtime_error.
void write(const Reference& reference, const std::string& path);
Reference readReference(const std::string& path);

} // namespace tavo::soak
