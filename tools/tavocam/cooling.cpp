// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cooling.h"

#include <cmath>
#include <limits>

#include "failure.h"
#include "family.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr double kTolerance = 0.5;    // degrees; a 10-bit sensor has steps of a third
constexpr double kPollInterval = 2.0; // seconds
constexpr int kSteadyReadings = 3;    // the first crossing may be an overshoot

// A register-mapped camera that does not answer reads as 0 kelvin.
constexpr float kNothingRead = -273;

} // namespace

std::string degrees(double temperature) {
    return text(decimals(temperature, 1), " degrees Celsius");
}

std::optional<unsigned> chipSensor(const Session& session) {
    if (session.type() == GLINT_CAMERA)
        return 0;
    if (session.type() == HERON_CAMERA || session.capabilities().tempSensorCount == 0)
        return std::nullopt;
    return 1;
}

std::optional<double> readTemperature(Session& session, unsigned sensor) {
    float temperature = std::numeric_limits<float>::quiet_NaN();
    if (!session.camera().getTemperatureSensorStatus(sensor, &temperature))
        throw Failure(kCameraFailed, text("temperature sensor ", sensor,
                                          " cannot be read: ", lastError(session.camera())));
    if (std::isnan(temperature))
        return std::nullopt;
    if (temperature < kNothingRead)
        throw Failure(kCameraFailed, text("temperature sensor ", sensor,
                                          " cannot be read: the camera does not answer"));
    return temperature;
}

CoolerStatus readCooler(Session& session) {
    // Asking for the target before the kind of sensor is known ends the process.
    const auto sensor = chipSensor(session);
    const bool convertible = sensor && readTemperature(session, *sensor);
    CoolerStatus status;
    float target = 0;
    float power = 0;
    if (!session.camera().getCoolingStatus(&status.state, convertible ? &target : nullptr, &power))
        throw Failure(kCameraFailed,
                      text("the cooler cannot be read: ", lastError(session.camera())));
    status.power = power;
    if (convertible && status.state == COOLING_SETPOINT &&
        session.capabilities().coolerType == COOLER_SETPOINT)
        status.target = target;
    return status;
}

void startCooling(Session& session, double target) {
    const auto sensor = chipSensor(session);
    if (!sensor || !readTemperature(session, *sensor))
        throw Failure(kCameraFailed, "the camera does not name its kind of temperature sensor, so "
                                     "it cannot be told a temperature: leave --temperature out");
    if (!session.camera().setCooling(static_cast<float>(target)))
        throw Failure(kCameraFailed, text("the camera refused to cool to ", degrees(target), ": ",
                                          lastError(session.camera())));
}

void awaitTemperature(Environment& environment, Session& session, Progress& progress, double target,
                      double timeout) {
    const unsigned sensor = chipSensor(session).value_or(0);
    const double giveUp = environment.clock.monotonic() + timeout;
    for (int steady = 0;;) {
        checkInterrupt(environment);
        const auto temperature = readTemperature(session, sensor);
        const bool reached = temperature && std::abs(*temperature - target) <= kTolerance;
        steady = reached ? steady + 1 : 0;
        if (steady == kSteadyReadings)
            break;
        const std::string now = temperature ? degrees(*temperature) : "unknown";
        if (environment.clock.monotonic() >= giveUp)
            throw Failure(kTimedOut,
                          text("the sensor did not settle at ", degrees(target), " within ",
                               timeout, " s (it is at ", now, "): ask for a warmer temperature or ",
                               "allow more time with --temperature-timeout"));
        progress.show(text("cooling to ", degrees(target), ", now ", now));
        waitUntil(environment, environment.clock.monotonic() + kPollInterval, [](double) {});
    }
    progress.wipe();
}

} // namespace tavocam
