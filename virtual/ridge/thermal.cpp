// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware that read temperatures and drive the cooler.
#include "ridge.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

void RidgeFirmware::countSensors(Arguments) {
    reply({thermal.countSensors()});
}

void RidgeFirmware::readSensor(Arguments arguments) {
    if (const auto reading = thermal.readSensor(u16le(arguments, 0)))
        reply({reading->kind, reading->value, 0}, ThermalCommands::kConversionTime);
}

void RidgeFirmware::describeCooler(Arguments) {
    const auto cooler = thermal.describeCooler();
    reply({cooler.flags, cooler.maxPower, cooler.minPower});
}

void RidgeFirmware::coolingStatus(Arguments) {
    const auto status = thermal.coolingStatus();
    reply({status.power, status.flags, status.target});
}

void RidgeFirmware::setCooling(Arguments arguments) {
    acknowledge(thermal.setCooling(u16le(arguments, 0)));
}

void RidgeFirmware::warmUp(Arguments) {
    thermal.warmUp();
}

} // namespace tavo::virtualcamera
