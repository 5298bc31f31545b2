// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <string>
#include <vector>

namespace tavo::virtualusb {

// Arguments or an environment as exec takes them, null at the end. Valid as long as the texts are.
inline std::vector<char*> argumentPointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace tavo::virtualusb
