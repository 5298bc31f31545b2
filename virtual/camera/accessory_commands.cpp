// SPDX-License-Identifier: LGPL-2.1-or-later
#include "accessory_commands.h"

namespace tavo::virtualcamera {

bool AccessoryCommands::closeRelay(Relay relay) {
    const unsigned number = static_cast<unsigned>(relay) + 1;
    journal("command ", 19 + number, " close guide relay ", number,
            model.hasGuidePort ? "" : ": no guide port, ignored");
    if (model.hasGuidePort)
        instrument.mount().close(relay);
    return model.hasGuidePort;
}

bool AccessoryCommands::releaseRelays() {
    journal("command 24 release the guide relays",
            model.hasGuidePort ? "" : ": no guide port, ignored");
    if (model.hasGuidePort)
        instrument.mount().releaseAll();
    return model.hasGuidePort;
}

std::optional<AccessoryCommands::WheelStatus> AccessoryCommands::wheelStatus() const {
    const FilterWheel& wheel = instrument.wheel();
    if (wheel.count() == 0) {
        journal("command 135 filter wheel status: no wheel, no answer");
        return std::nullopt;
    }
    journal("command 135 filter wheel status: ", wheel.count(), " positions, ",
            wheel.moving() ? "moving" : "standing", ", at ", wheel.current(), ", target ",
            wheel.target());
    return WheelStatus{wheel.count(), wheel.moving(), wheel.current(), wheel.target()};
}

std::optional<bool> AccessoryCommands::selectFilter(unsigned position) {
    if (instrument.wheel().count() == 0) {
        journal("command 136 select a filter: no wheel, no answer");
        return std::nullopt;
    }
    const bool done = instrument.wheel().moveTo(position);
    journal("command 136 select a filter: position ", position, done ? "" : " is refused");
    return done;
}

} // namespace tavo::virtualcamera
