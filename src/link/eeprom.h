// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What stands where in the 256-byte EEPROM on the controller's I2C bus.
#pragma once

namespace tavo::eeprom {

inline constexpr unsigned kProductId = 3;  // 2 bytes, low first
inline constexpr unsigned kSerialLow = 5;  // 2 bytes, low first
inline constexpr unsigned kSerialHigh = 8; // 2 bytes, low first

// HERON cameras only: the front end's eight words, and the description.
inline constexpr unsigned kADCSettings = 10;
inline constexpr unsigned kHeronDescription = 42;

// Larger than the EEPROM: what is reached is its low byte, 232.
inline constexpr unsigned kColourMarker = 1000;

} // namespace tavo::eeprom
