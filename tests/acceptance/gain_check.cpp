// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Gain and offset: what is accepted, and what they do to pictures.
#include "checks.h"
#include "gain_setting.h"

#include <cmath>

namespace acceptance {

namespace {

void requireGain(const Session& session) {
    if (session.camera.family() != LUMEN_CAMERA)
        throw Skip("this family has none");
}

void expectInvalid(const Camera& camera, const GainSetting& wrong) {
    unsigned short pixel = 0;
    camera->getImage(&pixel, 1); // leaves another text
    expect(!camera->setGain(wrong.gain, wrong.offset), describe(wrong) + " to be refused",
           "success");
    expect(std::string(camera->getLastError()) == "Invalid parameter", "\"Invalid parameter\"",
           camera->getLastError());
}

// Families without gain succeed, write nothing and leave a text all the same.
std::string noGain(const Camera& camera) {
    camera->setParam(static_cast<PARAM_TYPE>(99), 0); // leaves another text
    const GainSetting setting = gainSetting(camera);
    expect(setting == GainSetting{}, "nothing written", describe(setting));
    expect(std::string(camera->getLastError()) == "Unsupported operation",
           "\"Unsupported operation\"", camera->getLastError());
    require(camera, camera->setGain(1, 1), "setGain of a camera without gain");
    return "none, as its family";
}

std::string values(const Camera& camera) {
    if (camera.family() != LUMEN_CAMERA)
        return noGain(camera);
    const KeptGain kept(camera);
    for (const GainSetting& setting :
         {GainSetting{0, 0}, GainSetting{63, 512}, GainSetting{10, 256}, GainSetting{11, 257}})
        setGain(camera, setting);
    for (const GainSetting& setting :
         {GainSetting{64, 0}, GainSetting{-1, 0}, GainSetting{0, 513}, GainSetting{0, -1}})
        expectInvalid(camera, setting);
    return describe(kept.setting());
}

// In the upper half, where no pixel is cut off at black.
std::string offsetInPictures(Session& session) {
    requireGain(session);
    constexpr int kOffsets[] = {300, 400, 500};
    Camera& camera = session.camera;
    const KeptGain kept(camera);
    double levels[3] = {};
    for (int i = 0; i < 3; ++i) {
        setGain(camera, {kept.setting().gain, kOffsets[i]});
        levels[i] =
            background(camera.exposeTimed(session.window, camera.caps().minShortExposure)).mean();
    }
    const std::string told = text(levels[0]) + ", " + text(levels[1]) + ", " + text(levels[2]);
    const double first = levels[1] - levels[0], second = levels[2] - levels[1];
    constexpr double kLeast = 20, kTolerance = 0.05;
    expect(first > kLeast && second > kLeast,
           "a background that rises with the offset by at least " + text(kLeast), told);
    expect(std::abs(first - second) < kTolerance * first, "the same rise for the same step", told);
    return "background " + told + " at 300, 400, 500";
}

struct Scale {
    double light; // units for an electron a second
    double noise; // of a pixel without stars
};

Scale scaleAt(Session& session, const GainSetting& setting) {
    setGain(session.camera, setting);
    const Frame frame = session.camera.exposeTimed(session.window, session.exposure);
    const Comparison seen = session.expectSky(frame);
    return {seen.brightness, seen.sky.noise};
}

// The amplifier stands between the sensor and the converter: it enlarges noise as much as light.
std::string gainInPictures(Session& session) {
    requireGain(session);
    constexpr int kLow = 5, kHigh = 45, kOffset = 300;
    const KeptGain kept(session.camera);
    const Scale low = scaleAt(session, {kLow, kOffset});
    const Scale high = scaleAt(session, {kHigh, kOffset});
    const double noise = high.noise / low.noise;
    constexpr double kLeast = 1.3, kTolerance = 0.1;
    expect(noise > kLeast, "more noise at a higher gain", text(noise) + " times as much");
    if (!session.stars)
        return text(noise) + " times the noise";
    const double light = high.light / low.light;
    const std::string told = text(light) + " times the light of the stars, " + text(noise) +
                             " times the noise of the background";
    expect(light > kLeast, "brighter stars at a higher gain", told);
    expect(std::abs(light / noise - 1) < kTolerance, "noise enlarged as much as light", told);
    return told;
}

std::string afterwards(Session& session) {
    requireGain(session);
    return session.expectSky(session.camera.exposeTimed(session.window, session.exposure),
                             session.exposure);
}

} // namespace

void checkGain(Session& session) {
    session.report.step("gain and offset", [&] { return values(session.camera); });
    session.report.step("offset in pictures", [&] { return offsetInPictures(session); });
    session.report.step("gain in pictures", [&] { return gainInPictures(session); });
    session.report.step("gain as before", [&] { return afterwards(session); });
}

} // namespace acceptance
