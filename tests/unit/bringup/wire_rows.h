// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the controller is asked and what the cameras are told, each as the rows it is made of.
#pragma once

#include "fake/conversation.h"
#include "tavoccdusb.h"

#include <span>

namespace tavo::test {

// Rows whose transfers all carry this timeout, but for those that have one.
Rows within(unsigned milliseconds, Rows rows);

Row i2cTimeout(unsigned value);
Row parallelTimeout(unsigned value);
Row i2cSpeed(unsigned speed);
// new state of a port = (old AND mask) OR value
Row portDirection(unsigned port, std::uint8_t mask, std::uint8_t value);
Row portState(unsigned port, std::uint8_t mask, std::uint8_t value);
Row lineDirection(unsigned line, bool output);
Row lineState(unsigned line, bool high);
Rows engineTable(std::span<const std::uint8_t> table);
Rows eeprom(std::uint8_t address, const Bytes& given);

// A numbered command. The reply is as it travels; empty: none is read.
Rows command(CAMERA_TYPE type, std::uint8_t number, const Bytes& argument = {},
             const Bytes& reply = {});
// The same with the pause that the slow temperature command has on its way.
Rows temperatureCommand(CAMERA_TYPE type, const Bytes& argument, const Bytes& reply);

// Two-byte values and characters, one parallel read each.
Rows shortWord(unsigned value);
Rows text(const std::string& characters);

// From libusb_open to the alternate setting.
Rows usbOpen(CAMERA_TYPE type);
// The upload of `kFirmware`, presets and flush: all before the product id is read.
Rows controllerStart(CAMERA_TYPE type);
Rows identify(unsigned productId, const Bytes& colourMarker);

extern const Bytes kFirmware;

} // namespace tavo::test
