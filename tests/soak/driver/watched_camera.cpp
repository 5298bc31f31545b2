// SPDX-License-Identifier: LGPL-2.1-or-later
#include "watched_camera.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tavo::soak {
namespace {

constexpr const char* kUnsupported = "Unsupported operation";
constexpr const char* kInvalid = "Invalid parameter";
constexpr const char* kOutOfSequence = "Operation out of sequence";

template <typename... Values>
std::string listed(const char* name, Values... values) {
    std::string text = name;
    const char* separator = "(";
    ((text += separator + std::to_string(values), separator = ", "), ...);
    return text + (sizeof...(values) == 0 ? "()" : ")");
}

// What tells an output that was not written.
template <typename Record>
Record unwritten() {
    Record record;
    std::memset(static_cast<void*>(&record), 0x5a, sizeof record);
    return record;
}

template <typename Record>
bool isUnwritten(const Record& record) {
    const auto reference = unwritten<Record>();
    return std::memcmp(&record, &reference, sizeof record) == 0;
}

} // namespace

WatchedCamera::WatchedCamera(Host& host_, TavoCamera* camera_) : host(host_), camera(camera_) {
    if (std::strcmp(camera->getLastError(), "No error") != 0)
        host.finding("a new camera has an error");
}

bool WatchedCamera::call(const std::string& text, const Texts& texts, bool silent,
                         const std::function<bool()>& operation) {
    const std::string before = camera->getLastError();
    const bool ok = host.watched(text, operation);
    expectText(text, ok, texts, silent, before);
    return ok;
}

void WatchedCamera::expectText(const std::string& text, bool ok, const Texts& texts, bool silent,
                               const std::string& before) {
    const char* after = camera->getLastError();
    if (!after)
        return host.finding(text + " leaves a null text");
    if (!textsExpected)
        return;
    const bool isTold = std::any_of(texts.begin(), texts.end(),
                                    [&](const char* t) { return std::strcmp(t, after) == 0; });
    if (ok && before != after)
        host.finding(text + " succeeds and leaves \"" + after + "\"");
    if (!ok && !isTold && !(silent && before == after))
        host.finding(text + " fails and leaves \"" + after + "\"");
}

bool WatchedCamera::open() {
    opened = call("open()", {"Failed to open device", "Failed to initialize device"}, false,
                  [&] { return camera->open(); });
    if (opened)
        pending = false;
    readCapabilities();
    return opened;
}

void WatchedCamera::close() {
    host.watched("close()", [&] { camera->close(); });
    opened = false;
    readCapabilities();
}

void WatchedCamera::readCapabilities() {
    auto read = unwritten<TavoCapabilities>();
    auto type = unwritten<CAMERA_TYPE>();
    const bool ok = call("getCapabilities()", {"Device is not opened"}, false,
                         [&] { return camera->getCapabilities(nullptr, &type, &read); });
    if (ok != opened)
        host.finding("getCapabilities() does not know whether the camera is open");
    if (!ok && !(isUnwritten(read) && isUnwritten(type)))
        host.finding("getCapabilities() fails and writes");
    if (ok) {
        caps = read;
        kind = type;
    }
}

bool WatchedCamera::setParameter(PARAM_TYPE parameter, long value) {
    const bool ok = call(listed("setParam", int{parameter}, value), {kInvalid}, false,
                         [&] { return camera->setParam(parameter, value); });
    if (ok && camera->getParam(parameter) != value)
        host.finding("setParam() is forgotten");
    return ok;
}

bool WatchedCamera::readTemperature(unsigned sensor, float* celsius) {
    return call(listed("getTemperatureSensorStatus", sensor, celsius != nullptr),
                {kInvalid, "Failed to read temperature sensor status"}, false,
                [&] { return camera->getTemperatureSensorStatus(sensor, celsius); });
}

bool WatchedCamera::readCooling() {
    COOLING_STATE state{};
    float target = 0, power = 0;
    return call("getCoolingStatus()", {kUnsupported, "Failed to set cooling status"}, false,
                [&] { return camera->getCoolingStatus(&state, &target, &power); });
}

bool WatchedCamera::setCooling(float target) {
    return call(listed("setCooling", target), {kUnsupported, "Failed to set temperature"}, false,
                [&] { return camera->setCooling(target); });
}

bool WatchedCamera::warmUp() {
    return call("initiateWarmUp()", {kUnsupported, "Failed to initiate warmup"}, false,
                [&] { return camera->initiateWarmUp(); });
}

bool WatchedCamera::readWheel(bool* moving, unsigned* current) {
    unsigned count = 0, target = 0;
    return call("getFilterWheelStatus()", {kUnsupported, "Failed to get filter wheel status"},
                false,
                [&] { return camera->getFilterWheelStatus(&count, moving, current, &target); });
}

bool WatchedCamera::setFilter(unsigned position) {
    return call(listed("setFilter", position), {kUnsupported, "Failed to set filter"}, false,
                [&] { return camera->setFilter(position); });
}

bool WatchedCamera::setMode(int mode, bool on) {
    switch (mode) {
    case 0:
        return call(listed("setPreviewMode", on), {kUnsupported}, false,
                    [&] { return camera->setPreviewMode(on); });
    case 1:
        return call(listed("set8BitMode", on), {kUnsupported}, false,
                    [&] { return camera->set8BitMode(on); });
    default:
        return call(listed("setDarkFrameMode", on), {}, true,
                    [&] { return camera->setDarkFrameMode(on); });
    }
}

bool WatchedCamera::startExposure(bool option) {
    exposing = call(listed("startExposure", option), {"Failed to start exposure"}, false,
                    [&] { return camera->startExposure(option); });
    return exposing;
}

bool WatchedCamera::abortExposure() {
    const bool ok =
        call("abortExposure()", {kUnsupported}, true, [&] { return camera->abortExposure(); });
    exposing = pending = false;
    return ok;
}

// A refused window frees the lock in this form.
bool WatchedCamera::readCCD(const Window& w) {
    const bool wasExposing = exposing;
    const bool ok = call(listed("readCCD", w.x, w.y, w.width, w.height, w.binX, w.binY),
                         {kOutOfSequence, kInvalid, "Failed to read CCD"}, false, [&] {
                             return camera->readCCD(w.x, w.y, w.width, w.height, w.binX, w.binY);
                         });
    if (ok != (ok && wasExposing))
        host.finding("readCCD() reads what was never started");
    exposing = false;
    if (wasExposing)
        pending = ok;
    return ok;
}

bool WatchedCamera::readCCD(const Window& w, double seconds) {
    const bool isSilent = kind == GLINT_CAMERA;
    pending = call(listed("readCCD", w.x, w.y, w.width, w.height, w.binX, w.binY, seconds),
                   {kInvalid, "Failed to read CCD"}, isSilent, [&] {
                       return camera->readCCD(w.x, w.y, w.width, w.height, w.binX, w.binY, seconds);
                   });
    return pending;
}

Image WatchedCamera::getImage(std::size_t size) {
    constexpr std::size_t kFence = 64;
    constexpr unsigned short kUntouched = 0xa5c3;
    Image image;
    image.pixels.assign(size + kFence, kUntouched);
    const bool wasPending = pending;
    image.arrived =
        call(listed("getImage", size), {kOutOfSequence, "Failed to get image"}, false, [&] {
            try {
                return camera->getImage(image.pixels.data(), static_cast<unsigned>(size));
            } catch (const std::bad_alloc&) {
                return false;
            }
        });
    if (image.arrived && !wasPending)
        host.finding("getImage() gives what was never asked for");
    if (std::any_of(image.pixels.end() - kFence, image.pixels.end(),
                    [](unsigned short pixel) { return pixel != kUntouched; }))
        host.finding(listed("getImage", size) + " writes behind its buffer");
    image.pixels.resize(size);
    pending = false;
    return image;
}

bool WatchedCamera::setShutter(bool open) {
    return call(listed("setShutter", open), {kUnsupported, "Failed to set shutter"}, false,
                [&] { return camera->setShutter(open); });
}

bool WatchedCamera::setRelays(unsigned short mask) {
    return call(listed("setGuideRelays", mask), {kUnsupported, "Failed to set guide relays"}, false,
                [&] { return camera->setGuideRelays(mask); });
}

bool WatchedCamera::setDirection(unsigned short mask) {
    return call(listed("setGPIODirection", mask), {kUnsupported, "Failed to set GPIO direction"},
                false, [&] { return camera->setGPIODirection(mask); });
}

bool WatchedCamera::readLines() {
    unsigned short lines = 0;
    return call("getGPIO()", {kUnsupported, "Failed to get GPIO"}, false,
                [&] { return camera->getGPIO(&lines); });
}

bool WatchedCamera::setLines(unsigned short lines) {
    return call(listed("setGPIO", lines), {kUnsupported, "Failed to set GPIO"}, false,
                [&] { return camera->setGPIO(lines); });
}

// Families without gain succeed and leave a text.
bool WatchedCamera::readGain(int* gain, int* offset) {
    const bool ok = host.watched("getGain()", [&] { return camera->getGain(gain, offset); });
    if (!ok && kind != LUMEN_CAMERA && opened)
        host.finding("getGain() fails on a family without gain");
    return ok;
}

bool WatchedCamera::setGain(int gain, int offset) {
    const bool ok = host.watched(listed("setGain", gain, offset),
                                 [&] { return camera->setGain(gain, offset); });
    if (!ok && kind != LUMEN_CAMERA && opened)
        host.finding("setGain() fails on a family without gain");
    return ok;
}

std::size_t WatchedCamera::pixelCount(const Window& window) {
    return std::size_t{camera->imageWidth(window.width, window.binX)} *
           camera->imageHeight(window.height, window.binY);
}

void WatchedCamera::readNumbers() {
    host.watched("numbers()", [&] {
        camera->getSerialNumber();
        camera->getVersionMajor();
        camera->getVersionMinor();
        camera->delay(1.0);
        camera->imageWidth(100, 0);
    });
    if (!camera->getName() || !*camera->getName())
        host.finding("a camera has no name");
}

} // namespace tavo::soak
