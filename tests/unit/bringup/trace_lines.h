// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The trace of an operation, built from the inside out.
#pragma once

#include "fake/captured_trace.h"
#include "fake/conversation.h"
#include "tavoccdusb.h"

namespace tavo::test {

// A line inside an operation.
Lines say(const std::string& words);
// An operation: its entry line, what it says and calls, its exit line. The class name is added.
Lines operation(const std::string& entry, const std::string& exit,
                std::initializer_list<Lines> inside = {});
// An operation called by another: one blank further in.
Lines call(const std::string& entry, const std::string& exit,
           std::initializer_list<Lines> inside = {});
// The frequent kind: "name(arguments)" that ends as "name 1".
Lines done(const std::string& entry);
Lines joinedLines(std::initializer_list<Lines> parts);

std::string dumpOf(const Bytes& bytes);
// A command that succeeded. `reply` is what the caller receives; a null argument or reply is empty.
Lines commandLines(CAMERA_TYPE type, unsigned number, const Bytes& argument = {},
                   const Bytes& reply = {});
Lines eepromLines(unsigned address, const Bytes& given);
Lines quietSection();

// Opening, claiming, firmware, presets and the flush of an empty link.
Lines usbLines(CAMERA_TYPE type);
Lines controllerLines(CAMERA_TYPE type);
Lines identifyLines(const Bytes& productId, const Bytes& colourMarker, const std::string& colour);

// Fails the test at the first line that differs.
void expectLines(const Lines& expected, const Lines& actual);

} // namespace tavo::test
