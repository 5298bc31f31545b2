// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <string>
#include <vector>

namespace tavo::virtualusb {

// Tells the programs on a testbed that listen to libudev's monitor of a USB device: "add" or
// "remove". umockdev's own sender would need this program to run under its preload library.
void announceDevice(const std::string& testbed, const std::string& action, const std::string& path,
                    const std::vector<std::string>& properties);

} // namespace tavo::virtualusb
