// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a camera says of itself to any host that asks for its descriptors.
#pragma once

#include "../usb/device.h"

#include <cstdint>
#include <string>

namespace tavo::virtualcamera {

struct UsbIdentity {
    std::uint16_t productId;
    std::string product;
};

virtualusb::Bytes deviceDescriptor(const UsbIdentity& identity);
// Configuration 1: interface 0 with setting 0 (no endpoints) and setting 1 (the four bulk pipes).
virtualusb::Bytes configurationDescriptor();
// The bus answers what follows from the descriptors; only the texts are left to the device. Any
// other request stalls.
virtualusb::Reply answerStringRequest(const UsbIdentity& identity,
                                      const virtualusb::SetupPacket& setup);

} // namespace tavo::virtualcamera
