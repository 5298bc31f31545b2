// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cooler_panel.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace tavo::virtualcamera {

namespace {

// Bits of the cooling status.
constexpr unsigned kRegulating = 0x80;
constexpr unsigned kCoolerOn = 0x40;
constexpr unsigned kWarmingUp = 0x20;

// A set-cooling value with this high byte is a power level and no temperature.
constexpr unsigned kPowerLevel = 0xFF;

constexpr double kReadingSpan = 330.0; // degrees over the whole range of a reading
constexpr double kReadingZero = -60.0; // degrees at reading 0

constexpr unsigned greatestReading(unsigned bits) {
    return (1U << bits) - 1;
}

} // namespace

double celsiusOf(unsigned reading, unsigned bits) {
    return reading * kReadingSpan / greatestReading(bits) + kReadingZero;
}

unsigned temperatureReading(double celsius, unsigned bits) {
    const double greatest = greatestReading(bits);
    const double exact = (celsius - kReadingZero) * greatest / kReadingSpan;
    return static_cast<unsigned>(std::clamp(std::round(exact), 0.0, greatest));
}

unsigned CoolerPanel::descriptionFlags() const {
    switch (model.cooler) {
    case CoolerKind::none: return 0x00;
    case CoolerKind::alwaysOn: return 0x01;
    case CoolerKind::onOff: return 0x09;
    case CoolerKind::selectPower: return 0x0D;
    case CoolerKind::setPoint: return 0x11;
    }
    return 0;
}

CoolerPanel::Status CoolerPanel::status() const {
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
    return {power, flags, temperatureReading(cooler.target(), model.temperatureBits)};
}

// REQUIRES: a cooler that is driven by power.
void CoolerPanel::drive(unsigned level) {
    const double range = model.maxCoolerPower - model.minCoolerPower;
    const double above = static_cast<double>(level) - model.minCoolerPower;
    instrument.cooler().drive(model.cooler == CoolerKind::onOff ? (above > 0.0 ? 1.0 : 0.0)
                                                                : above / range);
}

std::optional<std::string> CoolerPanel::set(unsigned value) {
    const bool isLevel = value >> 8 == kPowerLevel;
    const bool takesLevel =
        model.cooler == CoolerKind::onOff || model.cooler == CoolerKind::selectPower;
    const unsigned bits = model.temperatureBits;
    std::ostringstream words;
    if (isLevel && takesLevel) {
        drive(value & 0xFF);
        words << "power level " << (value & 0xFF);
    } else if (model.cooler == CoolerKind::setPoint && value <= greatestReading(bits)) {
        instrument.cooler().regulateTo(celsiusOf(value, bits));
        words << "regulate to " << celsiusOf(value, bits) << " C";
    } else {
        return std::nullopt;
    }
    return words.str();
}

bool CoolerPanel::warmUp() {
    const bool controllable =
        model.cooler != CoolerKind::none && model.cooler != CoolerKind::alwaysOn;
    if (controllable)
        instrument.cooler().warmUp();
    return controllable;
}

} // namespace tavo::virtualcamera
