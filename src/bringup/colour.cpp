// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/colour_marker.h"
#include "core/trace.h"
#include "link/eeprom.h"
#include "tavocameraimpl.h"

// A camera without a readable marker is monochrome; that is no failure.
void TavoCameraImpl::checkColour() {
    tavo::Colour colour;
    std::array<std::uint8_t, tavo::kColourMarkerLength> marker{};
    if (eepRead(tavo::eeprom::kColourMarker, marker.data(), marker.size()))
        colour = tavo::decodeColour(marker);
    colourType = colour.type;
    offsetX = colour.offsetX;
    offsetY = colour.offsetY;
    tavo::trace::inside("colour = %d, offsetX = %d, offsetY = %d", colourType, offsetX, offsetY);
}
