// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Lumen firmware for the filter wheel, the GPIO lines and the gain stage.
#include "lumen.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

bool LumenFirmware::wheelStatus(Arguments, Answer& answer) {
    const auto status = accessories.wheelStatus();
    if (!status)
        return false;
    for (const unsigned word :
         {status->count, status->moving ? 1U : 0U, status->current, status->target})
        appendU16be(answer, word);
    return true;
}

bool LumenFirmware::selectFilter(Arguments arguments, Answer& answer) {
    const auto done = accessories.selectFilter(u16be(arguments, 0));
    appendU16be(answer, done.value_or(false) ? 1 : 0);
    return done.has_value();
}

bool LumenFirmware::hasGpio(unsigned command) const {
    if (gpio.count() == 0)
        journal("command ", command, " is refused, there are no GPIO lines");
    return gpio.count() != 0;
}

bool LumenFirmware::readGpio(Arguments, Answer& answer) {
    if (!hasGpio(130))
        return false;
    journal("command 130 read the GPIO lines: ", gpio.count(), " of them, levels ",
            hex(gpio.levels(), 4));
    appendU16be(answer, gpio.count());
    appendU16be(answer, gpio.levels());
    return true;
}

bool LumenFirmware::setGpioDirections(Arguments arguments, Answer&) {
    if (!hasGpio(131))
        return false;
    const unsigned outputs = u16be(arguments, 0);
    journal("command 131 set GPIO directions: outputs ", hex(outputs, 4));
    gpio.setDirections(outputs);
    return true;
}

bool LumenFirmware::setGpioStates(Arguments arguments, Answer&) {
    if (!hasGpio(132))
        return false;
    const unsigned states = u16be(arguments, 0);
    journal("command 132 set GPIO states: ", hex(states, 4));
    gpio.setStates(states);
    return true;
}

bool LumenFirmware::readGainStage(Arguments, Answer& answer) {
    answer = gainStage.block();
    if (gainStage.ready())
        journal("command 141 read the gain settings: gain ", gainStage.half(false).gain,
                " and raw offset ", gainStage.half(false).rawOffset, ", in previews ",
                gainStage.half(true).gain, " and ", gainStage.half(true).rawOffset);
    else
        journal("command 141 read the gain settings: not ready");
    return true;
}

bool LumenFirmware::writeGainStage(Arguments arguments, Answer&) {
    const std::string problem = gainStage.write(arguments);
    if (!problem.empty()) {
        journal("command 140 write the gain settings: refused, ", problem);
        return false;
    }
    journal("command 140 write the gain settings: gain ", gainStage.half(false).gain,
            " and raw offset ", gainStage.half(false).rawOffset, ", in previews ",
            gainStage.half(true).gain, " and ", gainStage.half(true).rawOffset);
    return true;
}

} // namespace tavo::virtualcamera
