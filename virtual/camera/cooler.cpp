// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cooler.h"

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr double kPlantSeconds = 120.0;    // how slowly the cold finger follows the power
constexpr double kRegulatedSeconds = 40.0; // how slowly the regulator lets it follow
constexpr double kWarmUpRate = 0.1;        // degrees a second; faster would strain the sensor
constexpr double kWarmEnough = 0.5;        // degrees below ambient
constexpr double kHeatSinkRise = 12.0;     // degrees at full power
constexpr double kStep = 0.25;             // seconds
// Whatever was under way has long settled after this.
constexpr Microseconds kLongestSimulation = 7200 * kSecond;

} // namespace

Cooler::Cooler(CoolerKind kind, double ambient_, double greatestDrop_)
    : coolerKind(kind), ambient(ambient_), greatestDrop(greatestDrop_), temperature(ambient_),
      setPoint(ambient_) {
    if (kind == CoolerKind::alwaysOn)
        drive(1.0);
}

double Cooler::heatSinkTemperature() const {
    return ambient + kHeatSinkRise * share;
}

void Cooler::regulateTo(double temperature_) {
    setPoint = temperature_;
    coolerState = CoolerState::regulating;
}

void Cooler::drive(double share_) {
    share = std::clamp(share_, 0.0, 1.0);
    coolerState = share > 0.0 ? CoolerState::on : CoolerState::inactive;
}

void Cooler::warmUp() {
    coolerState = CoolerState::warmingUp;
    rampGoal = temperature;
}

void Cooler::advance(Microseconds now) {
    double seconds = static_cast<double>(std::min(now - simulated, kLongestSimulation)) / kSecond;
    simulated = now;
    while (seconds > 0.0) {
        step(std::min(seconds, kStep));
        seconds -= kStep;
    }
}

// The power that makes the distance to the goal fall off with kRegulatedSeconds, given a plant
// that falls off with kPlantSeconds towards (ambient - drop * share).
double Cooler::regulatedShare(double goal) const {
    const double pull = (temperature - goal) * kPlantSeconds / kRegulatedSeconds;
    return std::clamp((ambient - temperature + pull) / greatestDrop, 0.0, 1.0);
}

void Cooler::step(double seconds) {
    if (coolerState == CoolerState::regulating) {
        share = regulatedShare(setPoint);
    } else if (coolerState == CoolerState::warmingUp) {
        rampGoal += kWarmUpRate * seconds;
        share = regulatedShare(rampGoal);
        if (temperature >= ambient - kWarmEnough)
            drive(0.0);
    }
    const double limit = ambient - greatestDrop * share;
    temperature += (limit - temperature) * (1.0 - std::exp(-seconds / kPlantSeconds));
}

} // namespace tavo::virtualcamera
