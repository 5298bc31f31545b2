// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware for the guide port and the filter wheel.
#include "ridge.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

void RidgeFirmware::closeRelay(Arguments, Relay relay) {
    const unsigned number = static_cast<unsigned>(relay) + 1;
    if (!model.hasGuidePort) {
        journal("command ", 19 + number, " close guide relay ", number, ": no guide port, ignored");
        return;
    }
    journal("command ", 19 + number, " close guide relay ", number);
    instrument.mount().close(relay);
}

void RidgeFirmware::releaseRelays(Arguments) {
    journal("command 24 release the guide relays",
            model.hasGuidePort ? "" : ": no guide port, ignored");
    if (model.hasGuidePort)
        instrument.mount().releaseAll();
}

void RidgeFirmware::wheelStatus(Arguments) {
    const FilterWheel& wheel = instrument.wheel();
    if (wheel.count() == 0) {
        journal("command 135 filter wheel status: no wheel, no answer");
        return;
    }
    journal("command 135 filter wheel status: ", wheel.count(), " positions, ",
            wheel.moving() ? "moving" : "standing", ", at ", wheel.current(), ", target ",
            wheel.target());
    reply({wheel.count(), wheel.moving() ? 1U : 0U, wheel.current(), wheel.target()});
}

void RidgeFirmware::selectFilter(Arguments arguments) {
    if (instrument.wheel().count() == 0) {
        journal("command 136 select a filter: no wheel, no answer");
        return;
    }
    const unsigned position = u16le(arguments, 0);
    const bool done = instrument.wheel().moveTo(position);
    journal("command 136 select a filter: position ", position, done ? "" : " is refused");
    acknowledge(done);
}

} // namespace tavo::virtualcamera
