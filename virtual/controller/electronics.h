// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a camera family has wired to the pins of the controller: the far end of the parallel link,
// and where a family has them, lines, devices on the I2C bus and a serial path.
#pragma once

#include "framed_request.h"
#include "i2c.h"
#include "parallel_link.h"
#include "ports.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tavo::virtualcamera {

class Electronics : public LinkTarget {
public:
    // The tables that the interface engine must be given, in this order, before the link moves
    // anything. Static data.
    virtual LinkTables linkTables() const = 0;
    // Whether the lines are driven such that the far end listens and speaks.
    virtual bool linkEnabled(const Ports& ports) const = 0;

    virtual void connect(I2cBus&) {}
    // What the family keeps in the memory beside the ids.
    virtual void writeEeprom(Eeprom::Image&) const {}

    // The states that the lines have when the processor starts, where they are not all low.
    virtual void presetLines(Ports&) const {}
    // The host has changed the lines that the controller drives.
    virtual void linesChanged(const Ports&) {}
    // Brings the lines that the camera drives up to the present, before the host reads them.
    virtual void driveLines(Ports&) {}

    // Answers request 6 with exactly request.replyLength bytes; nothing: it is refused.
    virtual std::optional<std::vector<std::uint8_t>> serialTransfer(const FramedRequest&) {
        return std::nullopt;
    }
};

} // namespace tavo::virtualcamera
