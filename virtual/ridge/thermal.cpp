// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware that read temperatures and drive the cooler.
#include "ridge.h"

#include "../controller/bytes.h"

namespace tavo::virtualcamera {

namespace {

// 1 is the chip and 2 the heat sink; hosts that count from 0 get the chip for number 0, too.
constexpr unsigned kSensorCount = 2;
constexpr unsigned kTwelveBit = 2; // kind of temperature reading

constexpr Microseconds kConversionTime = 50 * kMillisecond; // of a temperature

} // namespace

void RidgeFirmware::countSensors(Arguments) {
    journal("command 54 count the temperature sensors: ", kSensorCount);
    reply({kSensorCount});
}

void RidgeFirmware::readSensor(Arguments arguments) {
    const unsigned sensor = u16le(arguments, 0);
    if (sensor > kSensorCount) {
        journal("command 55 read temperature ", sensor, ": there is no such sensor, no answer");
        return;
    }
    const Cooler& cooler = instrument.cooler();
    const double temperature =
        sensor == kSensorCount ? cooler.heatSinkTemperature() : cooler.sensorTemperature();
    journal("command 55 read temperature ", sensor, ": ", temperature, " C");
    reply({kTwelveBit, temperatureReading(temperature), 0}, kConversionTime);
}

void RidgeFirmware::describeCooler(Arguments) {
    const unsigned flags = panel.descriptionFlags();
    journal("command 52 describe the cooler: flags ", hex(flags), ", raw power ",
            model.minCoolerPower, " to ", model.maxCoolerPower);
    reply({flags, model.maxCoolerPower, model.minCoolerPower});
}

void RidgeFirmware::coolingStatus(Arguments) {
    const CoolerPanel::Status status = panel.status();
    const Cooler& cooler = instrument.cooler();
    journal("command 53 cooling status: raw power ", status.power, ", flags ", hex(status.flags),
            ", target ", cooler.target(), " C, sensor at ", cooler.sensorTemperature(), " C");
    reply({status.power, status.flags, status.target});
}

void RidgeFirmware::setCooling(Arguments arguments) {
    const unsigned value = u16le(arguments, 0);
    const auto done = panel.set(value);
    if (done)
        journal("command 56 set cooling: ", *done);
    else
        journal("command 56 set cooling: value ", hex(value, 4),
                " does not suit this camera's cooler, refused");
    acknowledge(done.has_value());
}

void RidgeFirmware::warmUp(Arguments) {
    const bool done = panel.warmUp();
    journal("command 57 warm up", done ? "" : ": ignored, the cooler cannot be controlled");
}

} // namespace tavo::virtualcamera
