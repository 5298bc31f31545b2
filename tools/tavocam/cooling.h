// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_COOLING_H
#define TAVOCAM_COOLING_H

#include <optional>

#include "progress.h"
#include "session.h"

namespace tavocam {

// The sensor that tells the chip's temperature, or what comes nearest: register-mapped cameras
// count no sensors but have one, number 0, without saying where it is. None when the camera has no
// sensor.
std::optional<unsigned> chipSensor(const Session& session);

// "-10.0 degrees Celsius"
std::string degrees(double temperature);

// Degrees Celsius; none when the camera answered without naming its kind of sensor. Throws Failure.
std::optional<double> readTemperature(Session& session, unsigned sensor);

struct CoolerStatus {
    COOLING_STATE state{};
    std::optional<double> target; // degrees Celsius, while regulating
    double power = 0;             // percent
};

// Of a camera with a controllable cooler; throws Failure.
CoolerStatus readCooler(Session& session);

// Asks a camera with a set-point cooler for a temperature; throws Failure.
void startCooling(Session& session, double target);

// Waits until the chip has had that temperature for a while. Throws Failure after the time-out and
// after a signal; the cooler goes on regulating.
void awaitTemperature(Environment& environment, Session& session, Progress& progress, double target,
                      double timeout);

} // namespace tavocam

#endif
