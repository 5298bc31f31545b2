// SPDX-License-Identifier: LGPL-2.1-or-later
#include "camera.h"

#include "report.h"

#include <thread>

namespace acceptance {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kByteSteps = 256; // a GLINT camera's sample is the high byte of its pixel

std::string describeWindow(const Window& window) {
    return std::to_string(window.x) + "," + std::to_string(window.y) + " " +
           std::to_string(window.width) + "x" + std::to_string(window.height) + " binned " +
           std::to_string(window.binX) + "x" + std::to_string(window.binY);
}

} // namespace

void Camera::describe() {
    require(*this, camera->getCapabilities(nullptr, &type, &capabilities), "getCapabilities");
}

Window Camera::fullFrame() const {
    return {0, 0, capabilities.pixelCountX, capabilities.pixelCountY};
}

Frame Camera::fetch(const Window& window) {
    Frame frame;
    frame.window = window;
    frame.width = camera->imageWidth(window.width, window.binX);
    frame.height = camera->imageHeight(window.height, window.binY);
    frame.pixels.resize(std::size_t{frame.width} * frame.height);
    if (type == GLINT_CAMERA) {
        frame.quantum = kByteSteps;
        frame.white = 65280;
    } else if (eightBit) {
        frame.white = 255;
        frame.depth = 1.0 / kByteSteps;
    }
    require(*this,
            camera->getImage(frame.pixels.data(), static_cast<unsigned>(frame.pixels.size())),
            "getImage of " + describeWindow(window));
    return frame;
}

Frame Camera::exposeTimed(const Window& window, double seconds) {
    requestTimed(window, seconds);
    return fetch(window);
}

void Camera::requestTimed(const Window& window, double seconds) {
    require(*this,
            camera->readCCD(window.x, window.y, window.width, window.height, window.binX,
                            window.binY, seconds),
            "timed readCCD of " + describeWindow(window) + " for " + text(seconds) + " s");
}

double Camera::addedByReadout() const {
    constexpr double kLong = 10;
    return kLong - camera->delay(kLong) / 1e6;
}

// A shutter opens half a second after the start. What delay() takes off a long exposure is added by
// the readout request: by a pause of the host's within readCCD, or afterwards by the camera.
Duration Camera::durationOf(const Instants& at) const {
    constexpr std::chrono::milliseconds kShutterDelay{500};
    constexpr double kNearly = 0.9; // readouts may take a little less
    const auto earliest = capabilities.hasShutter ? at.asked + kShutterDelay : at.asked;
    const double added = addedByReadout();
    const bool byHost = std::chrono::duration<double>(at.read - at.reading).count() >= added;
    Duration lasted{cameraSeconds(at.reading - at.started), cameraSeconds(at.read - earliest)};
    lasted.least += kNearly * added * (byHost ? speed : 1);
    lasted.most += byHost ? 0 : added;
    return lasted;
}

Frame Camera::exposeLong(const Window& window, double hostSeconds, Duration* lasted) {
    const auto asked = Clock::now();
    require(*this, camera->startExposure(false), "startExposure");
    const auto started = Clock::now();
    const std::chrono::microseconds wait{camera->delay(hostSeconds)};
    std::this_thread::sleep_for(wait);
    const auto reading = Clock::now();
    Clock::time_point read;
    Frame frame = readOut(window, &read);
    if (lasted)
        *lasted = durationOf({asked, started, reading, read});
    return frame;
}

Frame Camera::readOut(const Window& window, Clock::time_point* taken) {
    require(
        *this,
        camera->readCCD(window.x, window.y, window.width, window.height, window.binX, window.binY),
        "readCCD of " + describeWindow(window));
    if (taken)
        *taken = Clock::now();
    return fetch(window);
}

float Camera::temperature() {
    // Sensor 1 is the one on the chip; a camera that counts none answers to number 0.
    float celsius = 0;
    require(*this,
            camera->getTemperatureSensorStatus(capabilities.tempSensorCount > 0 ? 1 : 0, &celsius),
            "getTemperatureSensorStatus");
    return celsius;
}

void Camera::pause(double seconds) const {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds / speed));
}

void Camera::setEightBit(bool on) {
    require(*this, camera->set8BitMode(on), on ? "set8BitMode(true)" : "set8BitMode(false)");
    eightBit = on;
}

void require(const Camera& camera, bool success, const std::string& operation) {
    if (!success)
        throw Failure("expected " + operation + " to succeed, saw \"" + camera->getLastError() +
                      "\"");
}

const char* familyName(CAMERA_TYPE family) {
    switch (family) {
    case BASIN_CAMERA: return "basin";
    case RIDGE_CAMERA: return "ridge";
    case HERON_CAMERA: return "heron";
    case GLINT_CAMERA: return "glint";
    case LUMEN_CAMERA: return "lumen";
    }
    return "unknown";
}

} // namespace acceptance
