// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A thermo-electric cooler and the sensor on it, as a first-order thermal model.
#pragma once

#include "../controller/clock.h"

namespace tavo::virtualcamera {

enum class CoolerKind { none, alwaysOn, onOff, selectPower, setPoint };
enum class CoolerState { inactive, on, regulating, warmingUp };

class Cooler {
public:
    // Temperatures are in degrees Celsius.
    Cooler(CoolerKind kind, double ambient, double greatestDrop);

    void advance(Microseconds now);

    // REQUIRES for all three: the model has been advanced to now.
    void regulateTo(double temperature);
    void drive(double share); // of full power; 0 switches off
    void warmUp();

    CoolerKind kind() const { return coolerKind; }
    CoolerState state() const { return coolerState; }
    double sensorTemperature() const { return temperature; }
    double heatSinkTemperature() const;
    double target() const { return setPoint; }
    double power() const { return share; } // 0 to 1

private:
    void step(double seconds);
    double regulatedShare(double goal) const;

    CoolerKind coolerKind;
    CoolerState coolerState = CoolerState::inactive;
    double ambient;
    double greatestDrop; // below ambient, at full power
    double temperature;
    double setPoint;
    double rampGoal = 0.0; // where a warm-up has got to
    double share = 0.0;
    Microseconds simulated = 0;
};

} // namespace tavo::virtualcamera
