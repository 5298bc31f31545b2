// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware for the guide port and the filter wheel.
#include "ridge.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

void RidgeFirmware::closeRelay(Arguments, Relay relay) {
    accessories.closeRelay(relay);
}

void RidgeFirmware::releaseRelays(Arguments) {
    accessories.releaseRelays();
}

void RidgeFirmware::wheelStatus(Arguments) {
    if (const auto status = accessories.wheelStatus())
        reply({status->count, status->moving ? 1U : 0U, status->current, status->target});
}

void RidgeFirmware::selectFilter(Arguments arguments) {
    if (const auto done = accessories.selectFilter(u16le(arguments, 0)))
        acknowledge(*done);
}

} // namespace tavo::virtualcamera
