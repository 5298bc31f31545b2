// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the system's device database says of a USB device: sysfs attributes and udev properties.
#pragma once

#include "descriptors.h"

#include <string>

namespace tavo::virtualusb {

struct Place {
    std::string path;    // in sysfs, without /sys
    unsigned port = 0;   // of the root hub; 0: the root hub itself
    unsigned number = 0; // of the device on its bus
};

// The device node below /dev.
std::string nodeName(unsigned number);

// "NAME=VALUE" each.
std::vector<std::string> udevProperties(const Place& place, const Descriptors& descriptors);

// Everything, in the testbed's language.
std::string describeDevice(const Place& place, const Descriptors& descriptors);

} // namespace tavo::virtualusb
