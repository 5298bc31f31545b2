// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Basin firmware that read temperatures and drive the cooler.
#include "basin.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

void BasinFirmware::countSensors(Arguments) {
    reply({thermal.countSensors()});
}

void BasinFirmware::readSensor(Arguments arguments) {
    if (const auto reading = thermal.readSensor(u16le(arguments, 0)))
        reply({reading->kind, lowByte(reading->value), highByte(reading->value)},
              ThermalCommands::kConversionTime);
}

void BasinFirmware::describeCooler(Arguments) {
    const auto cooler = thermal.describeCooler();
    reply({cooler.flags, cooler.maxPower, cooler.minPower});
}

void BasinFirmware::coolingStatus(Arguments) {
    const auto status = thermal.coolingStatus();
    reply({status.power, status.flags, lowByte(status.target), highByte(status.target)});
}

void BasinFirmware::setCooling(Arguments arguments) {
    reply({thermal.setCooling(u16le(arguments, 0)) ? 1U : 0U});
}

void BasinFirmware::warmUp(Arguments) {
    thermal.warmUp();
}

} // namespace tavo::virtualcamera
