// SPDX-License-Identifier: LGPL-2.1-or-later
#include "thermal_check.h"

#include <sky/sensor.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace acceptance {

using tavo::virtualcamera::darkCurrentFactor;

namespace {

constexpr float kPower = 200;         // of 255, for coolers that are driven at a power
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

class DarkFrames {
public:
    explicit DarkFrames(const Camera& camera_) : camera(camera_) {
        if (camera.family() == RIDGE_CAMERA)
            require(camera, camera->setDarkFrameMode(true), "setDarkFrameMode(true)");
    }
    ~DarkFrames() {
        if (camera.family() == RIDGE_CAMERA)
            camera->setDarkFrameMode(false);
    }
    DarkFrames(const DarkFrames&) = delete;
    DarkFrames& operator=(const DarkFrames&) = delete;

private:
    const Camera& camera;
};

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

// Polls until a condition on the temperature holds; tells the last one.
template <typename Condition>
float waitFor(Camera& camera, Condition condition) {
    using Clock = std::chrono::steady_clock;
    const std::chrono::duration<double> most{
        std::max(kPatience / camera.timeFactor(), kLeastPatience)};
    const auto start = Clock::now();
    float now = camera.temperature();
    while (!condition(now) && Clock::now() - start < most) {
        camera.pause(std::max(1.0, 0.05 * camera.timeFactor()));
        now = camera.temperature();
    }
    return now;
}

} // namespace

bool ThermalCheck::controllable() const {
    const COOLER_TYPE type = session.camera.caps().coolerType;
    return type == COOLER_ONOFF || type == COOLER_SELECTPOWER || type == COOLER_SETPOINT;
}

bool ThermalCheck::darkFrames() const {
    return session.camera.family() == RIDGE_CAMERA && session.camera.caps().hasShutter;
}

// Binned, so that a little dark current is much beside the noise.
ThermalCheck::Sample ThermalCheck::take() {
    Camera& camera = session.camera;
    const unsigned bin = std::min({camera.caps().maxBinX, camera.caps().maxBinY, 4u});
    const Window window = session.window.binned(bin, bin);
    const DarkFrames mode(camera);
    const double bias =
        background(camera.exposeTimed(window, camera.caps().minShortExposure)).mean();
    Sample sample{};
    sample.before = camera.temperature();
    const Frame frame = camera.exposeTimed(window, session.exposure);
    sample.after = camera.temperature();
    sample.level = background(frame).mean() - bias;
    return sample;
}

std::string ThermalCheck::dark() {
    if (!darkFrames())
        throw Skip("the camera cannot keep light out");
    Camera& camera = session.camera;
    const DarkFrames mode(camera);
    const Frame timed = camera.exposeTimed(session.window, session.exposure);
    const Frame lasting = camera.exposeLong(session.window, session.exposure / camera.timeFactor());
    if (!session.stars || !session.unitsPerElectron)
        return "background " + text(background(timed).mean());
    for (const Frame* frame : {&timed, &lasting}) {
        const Comparison seen = session.compared(*frame);
        const double share = seen.brightness / (*session.unitsPerElectron * session.exposure);
        expect(share < 0.1, "no stars in the dark",
               std::to_string(seen.measurable) + ", " + text(100 * share) + " % of the light");
    }
    return "no star, background " + text(background(timed).mean());
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
    const float now = waitFor(camera, [&](float celsius) {
        return regulated ? std::abs(celsius - target) < kReached : celsius < target;
    });
    if (regulated)
        expect(std::abs(now - target) < kReached, text(target) + " degrees", text(now));
    else
        expect(now < ambient - 2, "at least 2 degrees below " + text(ambient), text(now));
    const Status status = statusOf(camera);
    expect(status.power > 0 && status.power <= 100, "a power from 0 to 100 %", text(status.power));
    return text(now) + " degrees, power " + text(status.power) + " %";
}

// The dark level of two temperatures against the law of doubling.
std::string ThermalCheck::lawByTwo(const Sample& warm, const Sample& cold) const {
    constexpr double kTolerance = 0.12, kDegrees = 0.35; // sensors read in steps
    const double least = darkCurrentFactor(std::min(warm.before, warm.after) - kDegrees) /
                         darkCurrentFactor(std::max(cold.before, cold.after) + kDegrees);
    const double most = darkCurrentFactor(std::max(warm.before, warm.after) + kDegrees) /
                        darkCurrentFactor(std::min(cold.before, cold.after) - kDegrees);
    const double seen = warm.level / cold.level;
    const std::string told = text(seen) + " times the dark level at " + text(warm.before) +
                             " degrees than at " + text(cold.after);
    expect(seen > least * (1 - kTolerance) && seen < most * (1 + kTolerance),
           text(least) + " to " + text(most) + " times", told);
    return told;
}

// Sky light adds the same to all levels: two of them give its share, the third is held against it.
std::string ThermalCheck::lawByThree() const {
    const Sample &warm = samples[0], &between = samples[1], &cold = samples[2];
    const auto factor = [](const Sample& sample) {
        return darkCurrentFactor((sample.before + sample.after) / 2);
    };
    const double share = (factor(between) - factor(cold)) / (factor(warm) - factor(cold));
    const double seen = (between.level - cold.level) / (warm.level - cold.level);
    const std::string told = text(100 * seen) + " % of the way from cold to warm at " +
                             text(between.before) + " to " + text(between.after) + " degrees";
    expect(warm.level > cold.level, "less background when cold",
           text(warm.level) + " warm, " + text(cold.level) + " cold");
    constexpr double kDegrees = 0.35, kTolerance = 0.12;
    const double spread =
        factor(between) *
        (std::exp2((std::abs(between.before - between.after) / 2 + kDegrees) / 6) - 1) /
        (factor(warm) - factor(cold));
    expect(std::abs(seen - share) < spread + kTolerance, text(100 * share) + " %", told);
    return told;
}

std::string ThermalCheck::law() const {
    if (samples.empty() || !cooling)
        throw Skip("nothing was cooled");
    if (!session.stars)
        throw Skip("the sensor's dark current is not known");
    if (darkFrames())
        return lawByTwo(samples.front(), samples.back());
    if (samples.size() < 3)
        throw Skip("too few temperatures were met");
    return lawByThree();
}

std::string ThermalCheck::warmUp() {
    if (!cooling)
        throw Skip("nothing was cooled");
    Camera& camera = session.camera;
    const float cold = camera.temperature();
    require(camera, camera->initiateWarmUp(), "initiateWarmUp");
    const Status status = statusOf(camera);
    expect(status.state == WARMING_UP, name(WARMING_UP), name(status.state));
    const float now = waitFor(camera, [&](float celsius) { return celsius > cold + 2; });
    expect(now > cold + 2, "more than " + text(cold + 2) + " degrees", text(now));
    return "from " + text(cold) + " to " + text(now) + " degrees";
}

void ThermalCheck::start() {
    session.report.step("temperatures", [&] { return sensors(session); });
    session.report.step("dark frames", [&] { return dark(); });
    session.report.step("warm background", [&]() -> std::string {
        if (!controllable())
            throw Skip("the camera's cooler cannot be controlled");
        samples.push_back(take());
        return text(samples.back().level) + " in " + text(session.exposure) + " s";
    });
    session.report.step("cooling", [&] { return startCooling(); });
}

void ThermalCheck::underWay() {
    if (!cooling || darkFrames() || !session.stars)
        return;
    session.report.step("background under way", [&] {
        samples.push_back(take());
        return text(samples.back().level) + " at " + text(samples.back().before) + " to " +
               text(samples.back().after) + " degrees";
    });
}

void ThermalCheck::finish() {
    session.report.step("cold", [&] { return reach(); });
    session.report.step("cold background", [&]() -> std::string {
        if (!cooling)
            throw Skip("nothing was cooled");
        samples.push_back(take());
        return text(samples.back().level) + " in " + text(session.exposure) + " s";
    });
    session.report.step("dark current", [&] { return law(); });
    session.report.step("warm-up", [&] { return warmUp(); });
}

} // namespace acceptance
