// SPDX-License-Identifier: LGPL-2.1-or-later
#include "thermal_check.h"

#include "dark_frames.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace acceptance {

namespace {

constexpr float kPower = 60;          // of 255, for coolers that are driven at a power
constexpr float kReached = 0.4f;      // degrees from the target
constexpr double kPatience = 1500;    // seconds of the camera's time
constexpr double kLeastPatience = 30; // seconds of the host's

std::string sensors(Session& session) {
    Camera& camera = session.camera;
    if (camera.family() == HERON_CAMERA)
        throw Skip("this family has none");
    std::string told;
    for (unsigned sensor = 0; sensor <= camera.caps().tempSensorCount; ++sensor) {
        float celsius = -1000;
        require(camera, camera->getTemperatureSensorStatus(sensor, &celsius),
                "getTemperatureSensorStatus(" + std::to_string(sensor) + ")");
        expect(celsius > -80 && celsius < 90, "degrees from -80 to 90", text(celsius));
        told += (sensor > 0 ? ", " : "") + text(celsius);
    }
    require(camera, camera->getTemperatureSensorStatus(0, nullptr),
            "getTemperatureSensorStatus without reporting");
    return told + " degrees";
}

const char* name(COOLING_STATE state) {
    switch (state) {
    case COOLING_INACTIVE: return "inactive";
    case COOLING_ON: return "on";
    case COOLING_SETPOINT: return "at a set point";
    case WARMING_UP: return "warming up";
    }
    return "unknown";
}

struct Status {
    COOLING_STATE state{};
    float target = 0, power = 0;
};

Status statusOf(const Camera& camera) {
    Status status;
    require(camera, camera->getCoolingStatus(&status.state, &status.target, &status.power),
            "getCoolingStatus");
    return status;
}

// Polls until a condition holds; false when it never does.
template <typename Condition>
bool waitUntil(const Camera& camera, Condition holds) {
    using Clock = std::chrono::steady_clock;
    const std::chrono::duration<double> most{
        std::max(kPatience / camera.timeFactor(), kLeastPatience)};
    const auto start = Clock::now();
    while (!holds()) {
        if (Clock::now() - start > most)
            return false;
        camera.pause(std::max(1.0, 0.05 * camera.timeFactor()));
    }
    return true;
}

// How many times the dark current of the reference temperature flows.
double darkFactor(double celsius) {
    constexpr double kReference = 20, kDoubling = 6; // degrees
    return std::exp2((celsius - kReference) / kDoubling);
}

double darkSeconds(const Camera& camera) {
    constexpr double kEnough = 1.5; // while the temperature changes little
    return std::min(kEnough, camera.caps().maxShortExposure);
}

} // namespace

bool ThermalCheck::controllable() const {
    const COOLER_TYPE type = session.camera.caps().coolerType;
    return type == COOLER_ONOFF || type == COOLER_SELECTPOWER || type == COOLER_SETPOINT;
}

bool ThermalCheck::darkFrames() const {
    return session.camera.family() == RIDGE_CAMERA && session.camera.caps().hasShutter;
}

// As long as the camera itself can time and binned, so that a little dark current is much beside
// the noise. The sky's light is worked out where it cannot be kept out.
ThermalCheck::Sample ThermalCheck::take() {
    Camera& camera = session.camera;
    const TavoCapabilities& caps = camera.caps();
    const double seconds = darkSeconds(camera);
    const unsigned bin = std::min({caps.maxBinX, caps.maxBinY, 4u});
    const Window window = session.window.binned(bin, bin);
    std::optional<DarkFrames> mode;
    if (darkFrames())
        mode.emplace(camera);
    const Frame shortest = camera.exposeTimed(window, caps.minShortExposure);
    Sample sample{};
    sample.before = camera.temperature();
    const Frame longest = camera.exposeTimed(window, seconds);
    sample.after = camera.temperature();
    const Background bias = acceptance::background(shortest),
                     dark = acceptance::background(longest);
    constexpr double kDeviations = 3;
    sample.level = dark.mean() - bias.mean();
    sample.error = kDeviations * std::hypot(dark.noise, bias.noise) /
                   std::sqrt(static_cast<double>(longest.pixels.size()));
    if (session.stars && session.unitsPerElectron && !mode)
        sample.sky = *session.unitsPerElectron * (seconds - caps.minShortExposure) *
                     session.stars->skyElectrons(window, session.filter);
    return sample;
}

std::string ThermalCheck::background(std::optional<Sample>& sample) {
    sample = take();
    return text(sample->level) + " in " + text(darkSeconds(session.camera)) + " s, " +
           text(sample->sky) + " of it from the sky";
}

std::string ThermalCheck::startCooling() {
    if (!controllable())
        throw Skip("the camera's cooler cannot be controlled");
    Camera& camera = session.camera;
    ambient = camera.temperature();
    const bool degrees =
        camera.caps().coolerType == COOLER_SETPOINT || camera.family() == LUMEN_CAMERA;
    target = std::round(ambient - session.options.coolBy);
    require(camera, camera->setCooling(degrees ? target : kPower), "setCooling");
    cooling = true;
    const Status status = statusOf(camera);
    const COOLING_STATE expected =
        camera.caps().coolerType == COOLER_SETPOINT ? COOLING_SETPOINT : COOLING_ON;
    expect(status.state == expected || (degrees && status.state == COOLING_SETPOINT),
           name(expected), name(status.state));
    if (status.state == COOLING_SETPOINT)
        expect(std::abs(status.target - target) < 0.4f, "the target " + text(target),
               text(status.target));
    return "from " + text(ambient) + " degrees, " + name(status.state) + ", power " +
           text(status.power) + " %";
}

std::string ThermalCheck::reach() {
    if (!cooling)
        throw Skip("it was not started");
    Camera& camera = session.camera;
    const bool regulated = camera.caps().coolerType == COOLER_SETPOINT;
    float now = 0;
    waitUntil(camera, [&] {
        now = camera.temperature();
        return regulated ? std::abs(now - target) < kReached : now < (ambient + target) / 2;
    });
    if (regulated)
        expect(std::abs(now - target) < kReached, text(target) + " degrees", text(now));
    else
        expect(now < ambient - 2, "at least 2 degrees below " + text(ambient), text(now));
    const Status status = statusOf(camera);
    expect(status.power > 0 && status.power <= 100, "a power from 0 to 100 %", text(status.power));
    return text(now) + " degrees, power " + text(status.power) + " %";
}

// What is dark of two backgrounds against the law of doubling. A sky worked out a little wrong is
// as wrong in both.
std::string ThermalCheck::law() const {
    if (!warm || !cold)
        throw Skip("nothing was cooled");
    if (!session.stars || !session.unitsPerElectron)
        throw Skip("the sensor's dark current is not known");
    constexpr double kTolerance = 0.06, kOfSky = 0.03, kDegrees = 0.2; // sensors read in steps
    const double least = darkFactor(std::min(warm->before, warm->after) - kDegrees) /
                         darkFactor(std::max(cold->before, cold->after) + kDegrees);
    const double most = darkFactor(std::max(warm->before, warm->after) + kDegrees) /
                        darkFactor(std::min(cold->before, cold->after) - kDegrees);
    const double warmDark = warm->level - warm->sky, coldDark = cold->level - cold->sky;
    const double slack = kTolerance * warmDark + kOfSky * warm->sky * (most - 1);
    const std::string told = text(warmDark) + " at " + text(warm->before) + " degrees, " +
                             text(coldDark) + " at " + text(cold->after);
    expect(coldDark > 0, "a background that is brighter than the sky", told);
    expect(warmDark > least * (coldDark - cold->error) - slack &&
               warmDark < most * (coldDark + cold->error) + slack,
           text(least) + " to " + text(most) + " times as much, within " + text(slack), told);
    return text(warmDark / coldDark) + " times as much: " + told;
}

std::string ThermalCheck::startWarming() {
    if (!cooling)
        throw Skip("nothing was cooled");
    Camera& camera = session.camera;
    coldest = camera.temperature();
    require(camera, camera->initiateWarmUp(), "initiateWarmUp");
    const Status status = statusOf(camera);
    expect(status.state == WARMING_UP, name(WARMING_UP), name(status.state));
    warming = true;
    return "from " + text(coldest) + " degrees";
}

std::string ThermalCheck::warmed() const {
    if (!warming)
        throw Skip("it was not started");
    Camera& camera = session.camera;
    Status status{};
    waitUntil(camera, [&] {
        status = statusOf(camera);
        return status.state != WARMING_UP;
    });
    expect(status.state == COOLING_INACTIVE, name(COOLING_INACTIVE), name(status.state));
    const float now = camera.temperature();
    constexpr float kRise = 2, kFromAmbient = 1.5f; // degrees
    expect(now > coldest + kRise, "more than " + text(coldest + kRise) + " degrees", text(now));
    if (session.stars)
        expect(std::abs(now - ambient) < kFromAmbient, "nearly " + text(ambient) + " degrees",
               text(now));
    return text(now) + " degrees, " + name(status.state);
}

void ThermalCheck::start() {
    session.report.step("temperatures", [&] { return sensors(session); });
    session.report.step("warm background", [&] {
        if (!controllable())
            throw Skip("the camera's cooler cannot be controlled");
        return background(warm);
    });
    session.report.step("cooling", [&] { return startCooling(); });
}

void ThermalCheck::whenCold() {
    session.report.step("cold", [&] { return reach(); });
    session.report.step("cold background", [&] {
        if (!cooling)
            throw Skip("nothing was cooled");
        return background(cold);
    });
    session.report.step("dark current", [&] { return law(); });
    session.report.step("warm-up", [&] { return startWarming(); });
}

void ThermalCheck::whenWarmed() {
    session.report.step("warm-up ended", [&] { return warmed(); });
}

} // namespace acceptance
