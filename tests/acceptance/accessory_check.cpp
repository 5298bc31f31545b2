// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Gain, and the general-purpose lines.
#include "checks.h"

namespace acceptance {

namespace {

struct Setting {
    int gain = -1, offset = -1;
};

Setting settingOf(const Camera& camera) {
    Setting setting;
    require(camera, camera->getGain(&setting.gain, &setting.offset), "getGain");
    return setting;
}

std::string describe(const Setting& setting) {
    return "gain " + std::to_string(setting.gain) + ", offset " + std::to_string(setting.offset);
}

void expectTaken(const Camera& camera, const Setting& wanted) {
    require(camera, camera->setGain(wanted.gain, wanted.offset), "setGain: " + describe(wanted));
    const Setting seen = settingOf(camera);
    expect(seen.gain == wanted.gain && seen.offset == wanted.offset, describe(wanted),
           describe(seen));
}

void expectInvalid(const Camera& camera, const Setting& wrong) {
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
    const Setting setting = settingOf(camera);
    expect(setting.gain == -1 && setting.offset == -1, "nothing written", describe(setting));
    expect(std::string(camera->getLastError()) == "Unsupported operation",
           "\"Unsupported operation\"", camera->getLastError());
    require(camera, camera->setGain(1, 1), "setGain of a camera without gain");
    return "none, as its family";
}

// Leaves the camera as it was also when the step ends early.
class KeptSetting {
public:
    explicit KeptSetting(const Camera& camera_) : camera(camera_), before(settingOf(camera_)) {}
    ~KeptSetting() { camera->setGain(before.gain, before.offset); }
    KeptSetting(const KeptSetting&) = delete;
    KeptSetting& operator=(const KeptSetting&) = delete;
    const Setting& setting() const { return before; }

private:
    const Camera& camera;
    Setting before;
};

std::string gain(Session& session) {
    Camera& camera = session.camera;
    if (camera.family() != LUMEN_CAMERA)
        return noGain(camera);
    const KeptSetting kept(camera);
    const Setting& before = kept.setting();
    for (const Setting& setting :
         {Setting{0, 0}, Setting{63, 512}, Setting{10, 256}, Setting{11, 257}})
        expectTaken(camera, setting);
    for (const Setting& setting : {Setting{64, 0}, Setting{-1, 0}, Setting{0, 513}, Setting{0, -1}})
        expectInvalid(camera, setting);
    expectTaken(camera, before);
    return describe(before) + ", " +
           session.expectSky(camera.exposeTimed(session.window, session.exposure),
                             session.exposure);
}

std::string hex(unsigned value) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits = "0x";
    for (unsigned shift = 16; shift > 0; shift -= 4)
        digits += kDigits[(value >> (shift - 4)) & 0xF];
    return digits;
}

// True when all lines follow what is set under these directions.
bool linesFollow(const Camera& camera, unsigned short directions, unsigned short mask) {
    require(camera, camera->setGPIODirection(directions), "setGPIODirection");
    for (const unsigned pattern : {0x5555u, 0xAAAAu, 0u}) {
        const auto wanted = static_cast<unsigned short>(pattern & mask);
        unsigned short seen = 0;
        require(camera, camera->setGPIO(wanted), "setGPIO");
        require(camera, camera->getGPIO(&seen), "getGPIO");
        if ((seen & mask) != wanted)
            return false;
    }
    return true;
}

std::string lines(Session& session) {
    Camera& camera = session.camera;
    const unsigned count = camera.caps().gpioLineCount;
    if (count == 0)
        throw Skip("the camera has none");
    unsigned short seen = 0;
    require(camera, camera->getGPIO(&seen), "getGPIO");
    if (!session.stars && !session.options.driveLines)
        return "they read " + hex(seen) + "; not driven without --drive-gpio";
    const auto mask = static_cast<unsigned short>((1u << count) - 1);
    // What a direction bit means is the camera's.
    const bool byOnes = linesFollow(camera, mask, mask), byZeros = linesFollow(camera, 0, mask);
    expect(byOnes || byZeros, "lines that follow what is set in one direction", "neither");
    expect(!byOnes || !byZeros, "lines that do not follow as inputs", "both directions follow");
    return std::string("outputs where the direction is ") + (byOnes ? "1" : "0");
}

} // namespace

void checkGain(Session& session) {
    session.report.step("gain and offset", [&] { return gain(session); });
}

void checkLines(Session& session) {
    session.report.step("GPIO lines", [&] { return lines(session); });
}

} // namespace acceptance
