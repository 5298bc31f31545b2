// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device made for testing: it echoes, refuses, counts, and unplugs itself when it is told to.
#pragma once

#include "usb/device.h"

#include <memory>

namespace tavo::usbiptest {

inline constexpr std::uint16_t kVendor = 0x1209;
inline constexpr std::uint16_t kProduct = 0x7a02;

// Interface 0, setting 0.
inline constexpr std::uint8_t kAlways = 10; // in: one byte
// Setting 1.
inline constexpr std::uint8_t kEcho = 2;    // in: what came in at its out side, a packet a request
inline constexpr std::uint8_t kRefuse = 4;  // out and in
inline constexpr std::uint8_t kExcess = 6;  // in: a byte more than asked for
inline constexpr std::uint8_t kEndless = 8; // in: as many bytes 0x5a as are asked for

// Vendor requests.
inline constexpr std::uint8_t kStore = 1;  // out: keeps the data; in: gives them back
inline constexpr std::uint8_t kState = 2;  // in: setting, number of resets, of cancels
inline constexpr std::uint8_t kUnplug = 3; // out: is gone after that; for `value` milliseconds
inline constexpr std::uint8_t kLater = 4;  // out: gets one echo after `value` milliseconds
inline constexpr std::uint16_t kForEver = 0xffff;

std::unique_ptr<virtualusb::Device> makeEchoDevice();

} // namespace tavo::usbiptest
