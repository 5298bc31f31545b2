// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Finding the camera, opening it, and what it says of itself.
#include "checks.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

constexpr int kMostCameras = 16;
// What a stock kernel's usbfs grants in one request; the library's default is a whole image, of
// which a large one is refused.
constexpr long kPacketSize = 1 << 20;

const char* name(COOLER_TYPE cooler) {
    switch (cooler) {
    case COOLER_NONE: return "none";
    case COOLER_ALWAYSON: return "always on";
    case COOLER_ONOFF: return "on/off";
    case COOLER_SELECTPOWER: return "power";
    case COOLER_SETPOINT: return "set point";
    }
    return "unknown";
}

std::string sizeText(unsigned width, unsigned height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

std::string colourText(const TavoCapabilities& caps) {
    if (caps.colourType == COLOUR_MONO)
        return "mono";
    return std::to_string(caps.offsetX) + "," + std::to_string(caps.offsetY);
}

std::string listing(const Options& options, CameraPointer& chosen) {
    TavoCamera* found[kMostCameras] = {};
    const int count = TavoCamera::list(found, kMostCameras);
    std::string names;
    for (int i = 0; i < count; ++i) {
        CameraPointer camera(found[i]);
        names += (names.empty() ? "" : ", ") + std::string(camera->getName());
        if (static_cast<unsigned>(i) == options.index)
            chosen = std::move(camera);
    }
    expect(chosen != nullptr, "a camera number " + std::to_string(options.index),
           std::to_string(count) + " cameras");
    expect(std::string(chosen->getLastError()) == "No error", "\"No error\" of a new camera",
           chosen->getLastError());
    return names;
}

std::string listedAgain(const Session& session) {
    TavoCamera* found[kMostCameras] = {};
    const int count = TavoCamera::list(found, kMostCameras);
    bool isNew = true;
    std::string other;
    for (int i = 0; i < count; ++i) {
        const CameraPointer again(found[i]);
        isNew = isNew && again.get() != session.camera.operator->();
        if (static_cast<unsigned>(i) == session.options.index)
            other = again->getName();
    }
    expect(isNew, "another object of the same camera", "the same object");
    expect(other == session.camera.name(), session.camera.name(), other);
    return "";
}

void expectSane(const TavoCapabilities& caps, CAMERA_TYPE family) {
    const auto between = [](double value, double low, double high, const std::string& what) {
        expect(value >= low && value <= high, what + " from " + text(low) + " to " + text(high),
               text(value));
    };
    between(caps.pixelCountX, 16, 20000, "a width");
    between(caps.pixelCountY, 16, 20000, "a height");
    between(caps.pixelSizeX, 1, 50, "micrometres a pixel");
    between(caps.pixelSizeY, 1, 50, "micrometres a pixel");
    between(caps.maxBinX, 1, 256, "a largest binning factor");
    between(caps.maxBinY, 1, 256, "a largest binning factor");
    between(caps.gpioLineCount, 0, 16, "GPIO lines");
    between(caps.tempSensorCount, 0, 16, "temperature sensors");
    between(caps.coolerType, COOLER_NONE, COOLER_SETPOINT, "a kind of cooler");
    between(caps.colourType, COLOUR_MONO, COLOUR_BAYER, "a kind of colour");
    between(caps.offsetX, 0, 1, "a Bayer phase");
    between(caps.offsetY, 0, 1, "a Bayer phase");
    between(caps.minShortExposure, 1e-6, 1, "a shortest exposure");
    between(caps.maxShortExposure, caps.minShortExposure, 100, "a longest exposure");
    expect(caps.supportsLongExposure == (family != GLINT_CAMERA),
           "long exposures of every family but glint", yesNo(caps.supportsLongExposure));
    expect(!caps.has8BitMode || family == LUMEN_CAMERA, "8-bit mode of lumen cameras only",
           "it of another family");
    expect(!caps.hasShutter || family != LUMEN_CAMERA, "no shutter of a lumen camera", "one");
}

// Both forms of the operation tell the same.
void expectSameByFields(TavoCamera* camera, const TavoCapabilities& caps) {
    TavoCapabilities other{};
    const char* name = nullptr;
    CAMERA_TYPE type{};
    const bool success = camera->getCapabilities(
        &name, &type, &other.hasShutter, &other.hasGuidePort, &other.has8BitMode,
        &other.hasFilterWheel, &other.gpioLineCount, &other.pixelCountX, &other.pixelCountY,
        &other.pixelSizeX, &other.pixelSizeY, &other.maxBinX, &other.maxBinY,
        &other.tempSensorCount, &other.coolerType, &other.colourType, &other.offsetX,
        &other.offsetY, &other.supportsLongExposure, &other.minShortExposure,
        &other.maxShortExposure);
    expect(success, "capabilities field by field", camera->getLastError());
    const bool same =
        caps.hasShutter == other.hasShutter && caps.hasGuidePort == other.hasGuidePort &&
        caps.has8BitMode == other.has8BitMode && caps.hasFilterWheel == other.hasFilterWheel &&
        caps.gpioLineCount == other.gpioLineCount && caps.pixelCountX == other.pixelCountX &&
        caps.pixelCountY == other.pixelCountY && caps.pixelSizeX == other.pixelSizeX &&
        caps.pixelSizeY == other.pixelSizeY && caps.maxBinX == other.maxBinX &&
        caps.maxBinY == other.maxBinY && caps.tempSensorCount == other.tempSensorCount &&
        caps.coolerType == other.coolerType && caps.colourType == other.colourType &&
        caps.offsetX == other.offsetX && caps.offsetY == other.offsetY &&
        caps.supportsLongExposure == other.supportsLongExposure &&
        caps.minShortExposure == other.minShortExposure &&
        caps.maxShortExposure == other.maxShortExposure;
    expect(same, "the same capabilities in both forms", "others");
}

template <typename Value>
void expectAsked(const std::string& what, const std::optional<Value>& expected, const Value& seen) {
    if (!expected || *expected == seen)
        return;
    if constexpr (std::is_convertible_v<Value, std::string>)
        expect(false, what + " " + *expected, seen);
    else
        expect(false, what + " " + std::to_string(*expected), std::to_string(seen));
}

void expectAsAsked(const Session& session) {
    const Expectations& expected = session.options.expected;
    const TavoCapabilities& caps = session.camera.caps();
    expectAsked("the name", expected.name, session.camera.name());
    if (expected.family)
        expect(*expected.family == session.camera.family(),
               std::string("the family ") + familyName(*expected.family),
               familyName(session.camera.family()));
    expectAsked("serial number", expected.serial, session.camera->getSerialNumber());
    if (expected.pixels)
        expect(expected.pixels->width == caps.pixelCountX &&
                   expected.pixels->height == caps.pixelCountY,
               sizeText(expected.pixels->width, expected.pixels->height) + " pixels",
               sizeText(caps.pixelCountX, caps.pixelCountY));
    if (expected.pixelSize)
        expect(std::abs(*expected.pixelSize - caps.pixelSizeX) < 0.005,
               "pixels of " + text(*expected.pixelSize), text(caps.pixelSizeX));
    expectAsked("largest binning factor", expected.maxBin, std::min(caps.maxBinX, caps.maxBinY));
    expectAsked("shutter", expected.shutter, caps.hasShutter);
    if (expected.filters)
        expectAsked("filter wheel", std::optional<bool>(*expected.filters > 0),
                    caps.hasFilterWheel);
    expectAsked("guide port", expected.guidePort, caps.hasGuidePort);
    expectAsked("8-bit mode", expected.eightBit, caps.has8BitMode);
    expectAsked("GPIO lines", expected.gpioLines, caps.gpioLineCount);
    if (expected.cooler)
        expect(*expected.cooler == caps.coolerType, std::string("cooler ") + name(*expected.cooler),
               name(caps.coolerType));
    expectAsked("colour", expected.colour, colourText(caps));
}

} // namespace

std::optional<Camera> findCamera(Report& report, const Options& options) {
    CameraPointer chosen;
    if (!report.step("list", [&] { return listing(options, chosen); }) && !chosen)
        return std::nullopt;
    return Camera(std::move(chosen), options.speed);
}

bool checkOpening(Session& session) {
    Camera& camera = session.camera;
    session.report.step("closed camera", [&] {
        TavoCapabilities caps;
        expect(!camera->getCapabilities(nullptr, nullptr, &caps),
               "no capabilities of a closed camera", "some");
        expect(std::string(camera->getLastError()) == "Device is not opened",
               "\"Device is not opened\"", camera->getLastError());
        return "";
    });
    const bool opened = session.report.step("open", [&] {
        require(camera, camera->open(), "open");
        require(camera, camera->setParam(MAX_PACKET_SIZE, kPacketSize), "setParam");
        expect(camera->getParam(MAX_PACKET_SIZE) == kPacketSize, "the packet size that was set",
               std::to_string(camera->getParam(MAX_PACKET_SIZE)));
        camera.describe();
        return camera.name() + ", serial number " + std::to_string(camera->getSerialNumber()) +
               ", version " + std::to_string(camera->getVersionMajor()) + "." +
               std::to_string(camera->getVersionMinor());
    });
    if (!opened)
        return false;
    session.report.step("open again", [&] {
        require(camera, camera->open(), "open of an open camera");
        return "";
    });
    session.report.step("list again", [&] { return listedAgain(session); });
    return true;
}

void checkCapabilities(Session& session) {
    const Camera& camera = session.camera;
    const TavoCapabilities& caps = camera.caps();
    session.report.step("capabilities", [&] {
        expectSane(caps, camera.family());
        expectSameByFields(camera.operator->(), caps);
        return std::string(familyName(camera.family())) + ", " +
               sizeText(caps.pixelCountX, caps.pixelCountY) + " pixels of " +
               text(caps.pixelSizeX) + " um, bin " + sizeText(caps.maxBinX, caps.maxBinY) +
               ", colour " + colourText(caps) + ", cooler " + name(caps.coolerType) + ", shutter " +
               yesNo(caps.hasShutter) + ", wheel " + yesNo(caps.hasFilterWheel) + ", guide port " +
               yesNo(caps.hasGuidePort) + ", 8-bit " + yesNo(caps.has8BitMode) + ", GPIO lines " +
               std::to_string(caps.gpioLineCount);
    });
    session.report.step("expectations", [&] {
        expectAsAsked(session);
        return "";
    });
}

} // namespace acceptance
