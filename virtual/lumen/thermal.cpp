// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Lumen firmware that read temperatures and drive the cooler.
#include "lumen.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

bool LumenFirmware::countSensors(Arguments, Answer& answer) {
    appendU16be(answer, thermal.countSensors());
    return true;
}

bool LumenFirmware::readSensor(Arguments arguments, Answer& answer) {
    const auto reading = thermal.readSensor(u16be(arguments, 0));
    if (!reading)
        return false;
    appendU16be(answer, reading->kind);
    appendU16be(answer, reading->value);
    return true;
}

bool LumenFirmware::describeCooler(Arguments, Answer& answer) {
    const auto description = thermal.describeCooler();
    for (const unsigned word : {description.flags, description.maxPower, description.minPower})
        appendU16be(answer, word);
    return true;
}

bool LumenFirmware::coolingStatus(Arguments, Answer& answer) {
    const CoolerPanel::Status status = thermal.coolingStatus();
    const double chip = instrument.cooler().sensorTemperature();
    for (const unsigned word : {status.power, status.flags, status.target,
                                temperatureReading(chip, model.temperatureBits)})
        appendU16be(answer, word);
    return true;
}

// Hosts of these cameras know no power levels: they send a temperature to a cooler of any kind.
bool LumenFirmware::driveTowards(unsigned reading) {
    if (reading > (1U << model.temperatureBits) - 1) {
        journal("command 56 set cooling: ", reading, " is no reading, refused");
        return false;
    }
    const double target = celsiusOf(reading, model.temperatureBits);
    Cooler& cooler = instrument.cooler();
    const bool onOff = model.cooler == CoolerKind::onOff;
    cooler.drive(onOff ? (target < cooler.sensorTemperature() ? 1.0 : 0.0)
                       : (model.ambient - target) / model.greatestDrop);
    journal("command 56 set cooling: ", cooler.power() * 100.0, " % of full power for ", target,
            " C");
    return true;
}

bool LumenFirmware::setCooling(Arguments arguments, Answer& answer) {
    const unsigned reading = u16be(arguments, 0);
    const bool byPower =
        model.cooler == CoolerKind::onOff || model.cooler == CoolerKind::selectPower;
    const bool done = byPower ? driveTowards(reading) : thermal.setCooling(reading);
    appendU16be(answer, done ? 1 : 0);
    return true;
}

bool LumenFirmware::warmUp(Arguments, Answer&) {
    thermal.warmUp();
    return true;
}

} // namespace tavo::virtualcamera
