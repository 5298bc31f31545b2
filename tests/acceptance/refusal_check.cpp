// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a camera must refuse, and the texts that it leaves.
#include "checks.h"

namespace acceptance {

namespace {

constexpr const char* kSequence = "Operation out of sequence";
constexpr const char* kParameter = "Invalid parameter";
constexpr const char* kUnsupported = "Unsupported operation";

// Makes sure that the text to come is a new one.
void leaveOtherText(const Camera& camera, const std::string& than) {
    if (than == kParameter) {
        unsigned short pixel = 0;
        camera->getImage(&pixel, 1); // out of sequence
    } else {
        camera->setParam(static_cast<PARAM_TYPE>(99), 0); // an invalid parameter
    }
}

template <typename Operation>
void expectRefused(const Camera& camera, const std::string& what, const char* error,
                   Operation operation) {
    leaveOtherText(camera, error);
    expect(!operation(), what + " to be refused", "success");
    expect(std::string(camera->getLastError()) == error, what + " to leave " + quoted(error),
           quoted(camera->getLastError()));
}

template <typename Operation>
void expectRefusedSilently(const Camera& camera, const std::string& what, Operation operation) {
    leaveOtherText(camera, "");
    const std::string before = camera->getLastError();
    expect(!operation(), what + " to be refused", "success");
    expect(camera->getLastError() == before, what + " to leave the text " + quoted(before.c_str()),
           quoted(camera->getLastError()));
}

std::string sequence(const Camera& camera) {
    unsigned short pixel = 0;
    expectRefused(camera, "getImage without a readout", kSequence,
                  [&] { return camera->getImage(&pixel, 1); });
    expectRefused(camera, "readCCD without an exposure", kSequence,
                  [&] { return camera->readCCD(0, 0, 16, 16, 1, 1); });
    return "";
}

std::string windows(const Camera& camera) {
    const TavoCapabilities& caps = camera.caps();
    const unsigned width = caps.pixelCountX;
    const double shortest = caps.minShortExposure;
    const auto refused = [&](const std::string& what, const Window& w) {
        expectRefused(camera, what, kParameter, [&] {
            return camera->readCCD(w.x, w.y, w.width, w.height, w.binX, w.binY, shortest);
        });
    };
    refused("bin 0 across", {0, 0, 16, 16, 0, 1});
    refused("bin 0 down", {0, 0, 16, 16, 1, 0});
    refused("a bin too large across", {0, 0, 16, 16, caps.maxBinX + 1, 1});
    refused("a bin too large down", {0, 0, 16, 16, 1, caps.maxBinY + 1});
    refused("a window past the right edge", {1, 0, width, 16, 1, 1});
    // The height is held against the sensor's width.
    refused("a window far past the bottom", {0, 1, 16, width, 1, 1});
    if (caps.supportsLongExposure) {
        require(camera, camera->startExposure(false), "startExposure");
        expectRefused(camera, "a window past the right edge, after an exposure", kParameter,
                      [&] { return camera->readCCD(1, 0, width, 16, 1, 1); });
        expectRefused(camera, "readCCD after a refused one", kSequence,
                      [&] { return camera->readCCD(0, 0, 16, 16, 1, 1); });
        require(camera, camera->abortExposure(), "abortExposure");
    }
    return "";
}

std::string parameters(const Camera& camera) {
    expectRefused(camera, "an unknown parameter", kParameter,
                  [&] { return camera->setParam(static_cast<PARAM_TYPE>(99), 1); });
    float celsius = 0;
    expectRefused(camera, "a sensor too many", kParameter, [&] {
        return camera->getTemperatureSensorStatus(camera.caps().tempSensorCount + 1, &celsius);
    });
    if (camera.family() != HERON_CAMERA) {
        expectRefused(camera, "a heron's delay", kParameter,
                      [&] { return camera->setParam(QUICKER_READ_CCD_DELAY, 1000); });
        return "";
    }
    const long delay = camera->getParam(QUICKER_READ_CCD_DELAY);
    require(camera, camera->setParam(QUICKER_READ_CCD_DELAY, delay), "setParam");
    return "";
}

std::string delays(const Camera& camera) {
    constexpr unsigned kMillion = 1000000;
    const unsigned five = camera->delay(5.0), ten = camera->delay(10.0);
    expect(ten - five == 5 * kMillion, "five seconds more to wait for five seconds more exposure",
           std::to_string(ten - five) + " us");
    expect(ten <= 10 * kMillion, "no longer delay than the exposure", std::to_string(ten) + " us");
    expect(camera->delay(0) == 0, "no delay for no exposure", std::to_string(camera->delay(0)));
    return "readout adds " + text(10.0 - ten / 1e6) + " s";
}

std::string imageSizes(const Camera& camera) {
    const bool lumen = camera.family() == LUMEN_CAMERA;
    expect(camera->imageWidth(101, 2) == (lumen ? 51u : 50u), lumen ? "51" : "50",
           std::to_string(camera->imageWidth(101, 2)));
    expect(camera->imageHeight(101, 2) == 50, "50", std::to_string(camera->imageHeight(101, 2)));
    expect(camera->imageWidth(101, 0) == 0 && camera->imageHeight(101, 0) == 0,
           "no pixels for bin 0", std::to_string(camera->imageWidth(101, 0)));
    return "";
}

std::string foreignModes(const Camera& camera) {
    const CAMERA_TYPE family = camera.family();
    require(camera, camera->setPreviewMode(false), "setPreviewMode as it is");
    require(camera, camera->set8BitMode(false), "set8BitMode as it is");
    require(camera, camera->setDarkFrameMode(false), "setDarkFrameMode as it is");
    if (family == HERON_CAMERA || family == GLINT_CAMERA)
        expectRefused(camera, "preview mode", kUnsupported,
                      [&] { return camera->setPreviewMode(true); });
    if (family != LUMEN_CAMERA)
        expectRefused(camera, "8-bit mode", kUnsupported,
                      [&] { return camera->set8BitMode(true); });
    if (family != RIDGE_CAMERA)
        expectRefusedSilently(camera, "dark frame mode",
                              [&] { return camera->setDarkFrameMode(true); });
    return "";
}

std::string foreignAccessories(const Camera& camera) {
    const TavoCapabilities& caps = camera.caps();
    unsigned short lines = 0;
    if (!caps.hasShutter)
        expectRefused(camera, "setShutter", kUnsupported,
                      [&] { return camera->setShutter(false); });
    if (!caps.hasFilterWheel) {
        expectRefused(camera, "setFilter", kUnsupported, [&] { return camera->setFilter(0); });
        expectRefused(camera, "getFilterWheelStatus", kUnsupported, [&] {
            return camera->getFilterWheelStatus(nullptr, nullptr, nullptr, nullptr);
        });
    }
    if (!caps.hasGuidePort)
        expectRefused(camera, "setGuideRelays", kUnsupported,
                      [&] { return camera->setGuideRelays(0); });
    if (caps.gpioLineCount == 0) {
        expectRefused(camera, "getGPIO", kUnsupported, [&] { return camera->getGPIO(&lines); });
        expectRefused(camera, "setGPIO", kUnsupported, [&] { return camera->setGPIO(0); });
        expectRefused(camera, "setGPIODirection", kUnsupported,
                      [&] { return camera->setGPIODirection(0); });
    }
    if (caps.coolerType == COOLER_NONE || caps.coolerType == COOLER_ALWAYSON) {
        COOLING_STATE state{};
        expectRefused(camera, "getCoolingStatus", kUnsupported,
                      [&] { return camera->getCoolingStatus(&state, nullptr, nullptr); });
        expectRefused(camera, "setCooling", kUnsupported, [&] { return camera->setCooling(0); });
        expectRefused(camera, "initiateWarmUp", kUnsupported,
                      [&] { return camera->initiateWarmUp(); });
    }
    return "";
}

// A family's own refusals.
std::string family(const Camera& camera) {
    if (camera.family() == GLINT_CAMERA) {
        const TavoCapabilities& caps = camera.caps();
        expectRefused(camera, "a long exposure", "Failed to start exposure",
                      [&] { return camera->startExposure(false); });
        expectRefusedSilently(camera, "an exposure too long",
                              [&] { return camera->readCCD(0, 0, 16, 16, 1, 1, 0.6); });
        if (caps.maxBinX > 1)
            expectRefusedSilently(camera, "unequal binning", [&] {
                return camera->readCCD(0, 0, 16, 16, 2, 1, caps.minShortExposure);
            });
        return "";
    }
    if (camera.family() == HERON_CAMERA) {
        float celsius = 0;
        expectRefused(camera, "a temperature", "Failed to read temperature sensor status",
                      [&] { return camera->getTemperatureSensorStatus(0, &celsius); });
        return "";
    }
    throw Skip("nothing is peculiar to this family");
}

} // namespace

void checkRefusals(Session& session) {
    const Camera& camera = session.camera;
    session.report.step("refusal: sequence", [&] { return sequence(camera); });
    session.report.step("refusal: windows", [&] { return windows(camera); });
    session.report.step("refusal: parameters", [&] { return parameters(camera); });
    session.report.step("delay", [&] { return delays(camera); });
    session.report.step("image sizes", [&] { return imageSizes(camera); });
}

void checkUnsupported(Session& session) {
    const Camera& camera = session.camera;
    session.report.step("refusal: modes", [&] { return foreignModes(camera); });
    session.report.step("refusal: accessories", [&] { return foreignAccessories(camera); });
    session.report.step("refusal: family", [&] { return family(camera); });
}

} // namespace acceptance
