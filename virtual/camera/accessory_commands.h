// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The numbered commands of the guide port and the filter wheel. What they do is the same in every
// family that has them; the bytes of their answers are not.
#pragma once

#include "../controller/journal.h"
#include "camera_device.h"

#include <optional>

namespace tavo::virtualcamera {

class AccessoryCommands {
public:
    struct WheelStatus {
        unsigned count;
        bool moving;
        unsigned current;
        unsigned target;
    };

    explicit AccessoryCommands(const CameraParts& parts)
        : model(parts.model), instrument(parts.instrument), journal(parts.journal) {}

    // False for both when there is no guide port.
    bool closeRelay(Relay relay);
    bool releaseRelays();
    // Nothing for both when there is no wheel.
    std::optional<WheelStatus> wheelStatus() const;
    // Whether there is such a position.
    std::optional<bool> selectFilter(unsigned position);

private:
    const Model& model;
    Instrument& instrument;
    const Journal& journal;
};

} // namespace tavo::virtualcamera
