// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a camera says of itself to any host that asks for its descriptors.
#pragma once

#include "../usb/device.h"

#include <cstdint>
#include <span>
#include <string>

namespace tavo::virtualcamera {

struct UsbIdentity {
    std::uint16_t productId;
    std::string product;
};

virtualusb::Bytes deviceDescriptor(const UsbIdentity& identity);
// The addresses of the bulk endpoints of an alternate setting.
using Pipes = std::span<const std::uint8_t>;
// Configuration 1: interface 0 with its alternate settings, from 0 on.
virtualusb::Bytes configurationDescriptor(std::span<const Pipes> settings);
// That of the microcontroller: setting 0 (no endpoints) and setting 1 (the four bulk pipes).
virtualusb::Bytes configurationDescriptor();
// The bus answers what follows from the descriptors; only the texts are left to the device. Any
// other request stalls.
virtualusb::Reply answerStringRequest(const UsbIdentity& identity,
                                      const virtualusb::SetupPacket& setup);

} // namespace tavo::virtualcamera
