// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device made for testing a bus: it echoes, keeps silent, refuses, answers late and produces
// any amount of data.
#pragma once

#include "usb/device.h"

#include <chrono>
#include <deque>
#include <memory>

namespace tavo::bustest {

inline constexpr std::uint16_t kVendor = 0x1209;
inline constexpr std::uint16_t kProduct = 0x7a01;
inline constexpr std::size_t kDescriptorSize = 18 + 9 + 9 + 9 + 6 * 7;

// Interface 0: nothing in setting 0, these in setting 1.
inline constexpr std::uint8_t kEchoOut = 0x02;
inline constexpr std::uint8_t kEchoIn = 0x82;   // what came in, one answer for each request
inline constexpr std::uint8_t kLateIn = 0x84;   // nothing, or a byte after the armed time
inline constexpr std::uint8_t kSourceIn = 0x86; // sourceByte(n) for the n-th byte, while they last
inline constexpr std::uint8_t kRefusedOut = 0x06;
inline constexpr std::uint8_t kRefusedIn = 0x88;

// Vendor requests.
inline constexpr std::uint8_t kStore = 1;     // out: keeps the data; in: gives it back
inline constexpr std::uint8_t kArmLate = 2;   // out: value is milliseconds
inline constexpr std::uint8_t kArmSource = 3; // out: value | index << 16 is the count of bytes
inline constexpr std::uint8_t kReadState = 4; // in: setting, count of resets, of cleared halts
inline constexpr std::uint8_t kSilent = 5;    // in: no answer
inline constexpr std::uint8_t kTooMuch = 6;   // in: a byte more than asked for
// Out: unplugs itself, for as many milliseconds as value says; 0xffff: for ever.
inline constexpr std::uint8_t kUnplug = 7;
inline constexpr std::uint8_t kRefuseOnce = 9;   // out: kEchoOut refuses once
inline constexpr std::uint8_t kUnplugOnRead = 8; // out: the same at the next read of kLateIn

std::uint8_t sourceByte(std::size_t position);

std::unique_ptr<virtualusb::Device> makeLoopback(std::uint16_t product = kProduct);

} // namespace tavo::bustest
