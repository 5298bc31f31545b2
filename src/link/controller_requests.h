// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Codes of the framed requests that the USB controller's firmware serves.
#pragma once

namespace tavo::request {

inline constexpr unsigned kPortState = 1;
inline constexpr unsigned kPortDirection = 2;
inline constexpr unsigned kReadPorts = 3;
inline constexpr unsigned kI2C = 4;
inline constexpr unsigned kI2CSpeed = 5;
inline constexpr unsigned kSerial = 6; // the SPI port; LUMEN cameras hear their commands through it
inline constexpr unsigned kParallelInit = 8;
inline constexpr unsigned kParallelIn = 9;
inline constexpr unsigned kParallelOut = 10;
inline constexpr unsigned kTimeout = 12;

// Sub-codes of kTimeout.
inline constexpr unsigned kTimeoutOfParallelLink = 0;
inline constexpr unsigned kTimeoutOfI2C = 1;

} // namespace tavo::request
