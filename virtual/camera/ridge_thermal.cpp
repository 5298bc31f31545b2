// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The commands of the Ridge firmware that read temperatures and drive the cooler.
#include "ridge.h"

#include "../controller/bytes.h"

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

// Bits of the cooling status.
constexpr unsigned kRegulating = 0x80;
constexpr unsigned kCoolerOn = 0x40;
constexpr unsigned kWarmingUp = 0x20;

// A set-cooling value with this high byte is a power level and no temperature.
constexpr unsigned kPowerLevel = 0xFF;

// 1 is the chip and 2 the heat sink; hosts that count from 0 get the chip for number 0, too.
constexpr unsigned kSensorCount = 2;
constexpr unsigned kTwelveBit = 2;     // kind of temperature reading
constexpr double kReadingSpan = 330.0; // degrees over the whole range of a reading
constexpr double kReadingZero = -60.0; // degrees at reading 0
constexpr unsigned kReadingMax = 4095;

constexpr Microseconds kConversionTime = 50 * kMillisecond; // of a temperature

double celsius(unsigned reading) {
    return reading * kReadingSpan / kReadingMax + kReadingZero;
}

unsigned reading(double celsius) {
    const double exact = (celsius - kReadingZero) * kReadingMax / kReadingSpan;
    return static_cast<unsigned>(std::clamp(std::round(exact), 0.0, double{kReadingMax}));
}

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
    reply({kTwelveBit, reading(temperature), 0}, kConversionTime);
}

unsigned RidgeFirmware::coolerFlags() const {
    switch (model.cooler) {
    case CoolerKind::none: return 0x00;
    case CoolerKind::alwaysOn: return 0x01;
    case CoolerKind::onOff: return 0x09;
    case CoolerKind::selectPower: return 0x0D;
    case CoolerKind::setPoint: return 0x11;
    }
    return 0;
}

void RidgeFirmware::describeCooler(Arguments) {
    journal("command 52 describe the cooler: flags ", hex(coolerFlags()), ", raw power ",
            model.minCoolerPower, " to ", model.maxCoolerPower);
    reply({coolerFlags(), model.maxCoolerPower, model.minCoolerPower});
}

void RidgeFirmware::coolingStatus(Arguments) {
    const Cooler& cooler = instrument.cooler();
    const double range = model.maxCoolerPower - model.minCoolerPower;
    const auto power =
        model.minCoolerPower + static_cast<unsigned>(std::lround(cooler.power() * range));
    unsigned flags = 0;
    switch (cooler.state()) {
    case CoolerState::inactive: break;
    case CoolerState::on: flags = kCoolerOn; break;
    case CoolerState::regulating: flags = kRegulating | kCoolerOn; break;
    case CoolerState::warmingUp: flags = kWarmingUp | kCoolerOn; break;
    }
    journal("command 53 cooling status: raw power ", power, ", flags ", hex(flags), ", target ",
            cooler.target(), " C, sensor at ", cooler.sensorTemperature(), " C");
    reply({power, flags, reading(cooler.target())});
}

// REQUIRES: a cooler that is driven by power.
bool RidgeFirmware::drivePower(unsigned level) {
    const double range = model.maxCoolerPower - model.minCoolerPower;
    const double above = static_cast<double>(level) - model.minCoolerPower;
    instrument.cooler().drive(model.cooler == CoolerKind::onOff ? (above > 0.0 ? 1.0 : 0.0)
                                                                : above / range);
    return true;
}

void RidgeFirmware::setCooling(Arguments arguments) {
    const unsigned value = u16le(arguments, 0);
    const bool isLevel = value >> 8 == kPowerLevel;
    const bool takesLevel =
        model.cooler == CoolerKind::onOff || model.cooler == CoolerKind::selectPower;
    bool done = false;
    if (isLevel && takesLevel) {
        done = drivePower(value & 0xFF);
        journal("command 56 set cooling: power level ", value & 0xFF);
    } else if (model.cooler == CoolerKind::setPoint && value <= kReadingMax) {
        instrument.cooler().regulateTo(celsius(value));
        journal("command 56 set cooling: regulate to ", celsius(value), " C");
        done = true;
    } else {
        journal("command 56 set cooling: value ", hex(value, 4),
                " does not suit this camera's cooler, refused");
    }
    acknowledge(done);
}

void RidgeFirmware::warmUp(Arguments) {
    const bool controllable =
        model.cooler != CoolerKind::none && model.cooler != CoolerKind::alwaysOn;
    journal("command 57 warm up", controllable ? "" : ": ignored, the cooler cannot be controlled");
    if (controllable)
        instrument.cooler().warmUp();
}

} // namespace tavo::virtualcamera
