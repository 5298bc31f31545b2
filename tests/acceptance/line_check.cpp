// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The general-purpose lines.
#include "checks.h"

namespace acceptance {

namespace {

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

void checkLines(Session& session) {
    session.report.step("GPIO lines", [&] { return lines(session); });
}

} // namespace acceptance
