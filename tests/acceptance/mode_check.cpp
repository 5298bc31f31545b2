// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Preview, 8-bit pixels, the shutter, and the colours of a mosaic.
#include "checks.h"

#include <cmath>
#include <vector>

namespace acceptance {

namespace {

class PreviewMode {
public:
    explicit PreviewMode(const Camera& camera_) : camera(camera_) {
        require(camera, camera->setPreviewMode(true), "setPreviewMode(true)");
    }
    ~PreviewMode() { camera->setPreviewMode(false); }
    PreviewMode(const PreviewMode&) = delete;
    PreviewMode& operator=(const PreviewMode&) = delete;

private:
    const Camera& camera;
};

class EightBitMode {
public:
    explicit EightBitMode(Camera& camera_) : camera(camera_) { camera.setEightBit(true); }
    ~EightBitMode() {
        try {
            camera.setEightBit(false);
        } catch (const Failure&) {
            // The next step sees pixels that are not what they should be.
        }
    }
    EightBitMode(const EightBitMode&) = delete;
    EightBitMode& operator=(const EightBitMode&) = delete;

private:
    Camera& camera;
};

// Longer than the camera itself can time.
Frame exposeDeeply(Camera& camera, const Window& window) {
    constexpr double kCameraSeconds = 10;
    if (!camera.caps().supportsLongExposure)
        return camera.exposeTimed(window, camera.caps().maxShortExposure);
    return camera.exposeLong(window,
                             kCameraSeconds / camera.timeFactor() + camera.addedByReadout());
}

std::string preview(Session& session) {
    Camera& camera = session.camera;
    if (camera.family() == HERON_CAMERA || camera.family() == GLINT_CAMERA)
        throw Skip("this family has none");
    const double seconds = camera.caps().minShortExposure;
    const double noiseBefore = background(camera.exposeTimed(session.window, seconds)).noise;
    const PreviewMode mode(camera);
    const double noise = background(camera.exposeTimed(session.window, seconds)).noise;
    expect(noise > 0.95 * noiseBefore, "no less noise than " + text(noiseBefore), text(noise));
    const std::string told = "noise " + text(noise) + " instead of " + text(noiseBefore) + ", ";
    // Neither the gain nor the clock of a preview need be those of other pictures.
    return told + summary(session.expectSky(exposeDeeply(camera, session.window)));
}

std::string eightBit(Session& session) {
    Camera& camera = session.camera;
    if (!camera.caps().has8BitMode)
        throw Skip("the camera has none");
    const EightBitMode mode(camera);
    expect(camera->imageWidth(101, 1) == 102, "an even number of pixels in a row",
           std::to_string(camera->imageWidth(101, 1)));
    Window window = session.window;
    window.width -= window.width % 2;
    const Frame frame = exposeDeeply(camera, window);
    expect(brightest(frame) <= 255, "pixels up to 255", std::to_string(brightest(frame)));
    return "brightest pixel " + std::to_string(brightest(frame)) + ", " +
           (session.stars ? summary(session.expectSky(frame)) : "");
}

std::string shutter(Session& session) {
    Camera& camera = session.camera;
    if (!camera.caps().hasShutter)
        throw Skip("the camera has none");
    require(camera, camera->setShutter(true), "setShutter(true)");
    require(camera, camera->setShutter(false), "setShutter(false)");
    return "";
}

// Red stars stand out in red pixels and blue ones in blue pixels.
struct Colours {
    double red = 0, blue = 0, greens[2] = {};
};

Colours coloursOf(const Frame& frame, const Background& sky, const ExpectedStar& star,
                  const Reach& reach, const TavoCapabilities& caps) {
    Colours sums;
    for (unsigned j = 0; j <= 2 * reach.y; ++j)
        for (unsigned i = 0; i <= 2 * reach.x; ++i) {
            const auto x = static_cast<unsigned>(std::lround(star.x)) - reach.x + i;
            const auto y = static_cast<unsigned>(std::lround(star.y)) - reach.y + j;
            const double value = frame.at(x, y) - sky.at(x, y);
            const bool redColumn = (frame.window.x + x) % 2 == static_cast<unsigned>(caps.offsetX);
            const bool redRow = (frame.window.y + y) % 2 == static_cast<unsigned>(caps.offsetY);
            if (redColumn == redRow)
                (redRow ? sums.red : sums.blue) += value;
            else
                sums.greens[redRow ? 0 : 1] += value;
        }
    return sums;
}

std::string colour(Session& session) {
    Camera& camera = session.camera;
    if (camera.caps().colourType != COLOUR_BAYER)
        throw Skip("the sensor is mono");
    if (!session.stars)
        throw Skip("there is no catalogue of stars and their colours");
    const Frame frame = exposeDeeply(camera, session.window);
    const Background sky = background(frame);
    const Reach reach = session.stars->reach(frame.window);
    constexpr double kMeasurable = 15; // signal over noise
    const double noise = sky.noise * std::sqrt((2.0 * reach.x + 1) * (2.0 * reach.y + 1));
    std::vector<double> redStars, blueStars, greens;
    for (const ExpectedStar& star :
         session.stars->in(frame.window, session.shift, session.filter)) {
        const auto light = measure(frame, sky, star.x, star.y, reach);
        if (!star.alone || !light || light->peak > 0.5 * frame.white ||
            light->units < kMeasurable * noise)
            continue;
        const Colours sums = coloursOf(frame, sky, star, reach, camera.caps());
        greens.push_back(sums.greens[0] / sums.greens[1]);
        if (std::abs(star.colour) > 0.2)
            (star.colour > 0 ? redStars : blueStars).push_back(sums.red / sums.blue);
    }
    expect(!redStars.empty() && !blueStars.empty(), "red stars and blue ones",
           std::to_string(redStars.size()) + " and " + std::to_string(blueStars.size()));
    // Middle values, which hot pixels do not mislead.
    const double ofRed = median(redStars), ofBlue = median(blueStars), green = median(greens);
    expect(ofRed > 1.3 * ofBlue, "red stars redder than blue ones",
           "red over blue " + text(ofRed) + " of red stars, " + text(ofBlue) + " of blue ones");
    expect(std::abs(green - 1) < 0.15, "both kinds of green pixels alike",
           text(green) + " times as bright in one");
    return "red over blue " + text(ofRed) + " of red stars, " + text(ofBlue) + " of blue ones";
}

} // namespace

void checkModes(Session& session) {
    session.report.step("preview", [&] { return preview(session); });
    session.report.step("8-bit pixels", [&] { return eightBit(session); });
    session.report.step("shutter", [&] { return shutter(session); });
}

void checkColour(Session& session) {
    session.report.step("colours", [&] { return colour(session); });
}

} // namespace acceptance
