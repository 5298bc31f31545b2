// SPDX-License-Identifier: LGPL-2.1-or-later
#include "thermal_commands.h"

namespace tavo::virtualcamera {

namespace {

// 1 is the chip and 2 the heat sink; hosts that count from 0 get the chip for number 0, too.
constexpr unsigned kSensorCount = 2;

constexpr unsigned kTenBit = 1; // kinds of temperature reading
constexpr unsigned kTwelveBit = 2;

} // namespace

ThermalCommands::ThermalCommands(const CameraParts& parts)
    : model(parts.model), instrument(parts.instrument), journal(parts.journal),
      panel(model, instrument) {}

unsigned ThermalCommands::countSensors() const {
    journal("command 54 count the temperature sensors: ", kSensorCount);
    return kSensorCount;
}

std::optional<ThermalCommands::Reading> ThermalCommands::readSensor(unsigned sensor) const {
    if (sensor > kSensorCount) {
        journal("command 55 read temperature ", sensor, ": there is no such sensor, no answer");
        return std::nullopt;
    }
    const Cooler& cooler = instrument.cooler();
    const double temperature =
        sensor == kSensorCount ? cooler.heatSinkTemperature() : cooler.sensorTemperature();
    journal("command 55 read temperature ", sensor, ": ", temperature, " C");
    return Reading{model.temperatureBits == 10 ? kTenBit : kTwelveBit,
                   temperatureReading(temperature, model.temperatureBits)};
}

ThermalCommands::CoolerDescription ThermalCommands::describeCooler() const {
    const unsigned flags = panel.descriptionFlags();
    journal("command 52 describe the cooler: flags ", hex(flags), ", raw power ",
            model.minCoolerPower, " to ", model.maxCoolerPower);
    return {flags, model.minCoolerPower, model.maxCoolerPower};
}

CoolerPanel::Status ThermalCommands::coolingStatus() const {
    const CoolerPanel::Status status = panel.status();
    const Cooler& cooler = instrument.cooler();
    journal("command 53 cooling status: raw power ", status.power, ", flags ", hex(status.flags),
            ", target ", cooler.target(), " C, sensor at ", cooler.sensorTemperature(), " C");
    return status;
}

bool ThermalCommands::setCooling(unsigned value) {
    const auto done = panel.set(value);
    if (done)
        journal("command 56 set cooling: ", *done);
    else
        journal("command 56 set cooling: value ", hex(value, 4),
                " does not suit this camera's cooler, refused");
    return done.has_value();
}

void ThermalCommands::warmUp() {
    const bool done = panel.warmUp();
    journal("command 57 warm up", done ? "" : ": ignored, the cooler cannot be controlled");
}

} // namespace tavo::virtualcamera
