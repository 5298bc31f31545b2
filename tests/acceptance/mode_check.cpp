// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Preview, 8-bit pixels, and the colours of a mosaic.
#include "checks.h"
#include "gain_setting.h"

#include <cmath>
#include <vector>

namespace acceptance {

namespace {

class PreviewMode {
public:
    explicit PreviewMode(const Camera& camera_, bool on_ = true) : camera(camera_), on(on_) {
        require(camera, camera->setPreviewMode(on), "setPreviewMode");
    }
    ~PreviewMode() { camera->setPreviewMode(!on); }
    PreviewMode(const PreviewMode&) = delete;
    PreviewMode& operator=(const PreviewMode&) = delete;

private:
    const Camera& camera;
    bool on;
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
Frame exposeDeeply(Camera& camera, const Window& window, Duration* lasted = nullptr) {
    constexpr double kCameraSeconds = 10;
    if (!camera.caps().supportsLongExposure)
        return camera.exposeTimed(window, camera.caps().maxShortExposure);
    return camera.exposeLong(window, kCameraSeconds / camera.timeFactor() + camera.addedByReadout(),
                             lasted);
}

Background shortestPicture(Session& session) {
    return background(
        session.camera.exposeTimed(session.window, session.camera.caps().minShortExposure));
}

// How noisy a preview is: not as a picture, yet no brighter or darker.
void expectNoisy(const Session& session, const Background& picture, const Background& preview) {
    const double least = session.stars ? 1.5 : 0.95;
    expect(preview.noise > least * picture.noise,
           "at least " + text(least) + " times the noise of " + text(picture.noise),
           text(preview.noise));
    if (!session.stars)
        return;
    constexpr double kUnits = 3;
    expect(std::abs(preview.mean() - picture.mean()) < kUnits,
           "the background at " + text(picture.mean()), text(preview.mean()));
}

std::string preview(Session& session) {
    Camera& camera = session.camera;
    if (camera.family() == HERON_CAMERA || camera.family() == GLINT_CAMERA)
        throw Skip("this family has none");
    const GainSetting ofPictures = gainSetting(camera);
    const Background before = shortestPicture(session);
    std::string told;
    {
        const PreviewMode mode(camera);
        // A preview's own gain and offset would hide what else is different.
        const KeptGain kept(camera);
        if (camera.family() == LUMEN_CAMERA)
            setGain(camera, ofPictures);
        const Background noisy = shortestPicture(session);
        expectNoisy(session, before, noisy);
        Duration lasted{};
        const Frame deep = exposeDeeply(camera, session.window, &lasted);
        told = "noise " + text(noisy.noise) + " instead of " + text(before.noise) + ", " +
               session.expectSky(deep, lasted);
    }
    const Background after = shortestPicture(session);
    expect(std::abs(after.noise / before.noise - 1) < 0.1,
           "the noise of " + text(before.noise) + " after the preview", text(after.noise));
    return told;
}

// Pictures have a gain and an offset of their own, which those of previews leave alone.
std::string previewGain(Session& session) {
    Camera& camera = session.camera;
    if (camera.family() != LUMEN_CAMERA)
        throw Skip("this family has none");
    const GainSetting ofPictures = gainSetting(camera);
    const double before = shortestPicture(session).mean();
    const PreviewMode mode(camera);
    const KeptGain kept(camera);
    double levels[2] = {};
    for (int i = 0; i < 2; ++i) {
        setGain(camera, {ofPictures.gain, 300 + 200 * i});
        levels[i] = shortestPicture(session).mean();
    }
    expect(levels[1] > levels[0] + 20, "a preview's background that rises with its offset",
           text(levels[0]) + ", " + text(levels[1]));
    const PreviewMode off(camera, false);
    const GainSetting unchanged = gainSetting(camera);
    const double after = shortestPicture(session).mean();
    expect(unchanged == ofPictures, "of pictures " + describe(ofPictures), describe(unchanged));
    expect(std::abs(after - before) < 3, "the background of pictures at " + text(before),
           text(after));
    return "of previews " + describe(kept.setting()) + ", of pictures " + describe(ofPictures);
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
    Duration lasted{};
    const Frame frame = exposeDeeply(camera, window, &lasted);
    expect(brightest(frame) <= 255, "pixels up to 255", std::to_string(brightest(frame)));
    return "brightest pixel " + std::to_string(brightest(frame)) + ", " +
           session.expectSky(frame, lasted);
}

// Red stars stand out in red pixels and blue ones in blue pixels.
struct Colours {
    double red = 0, blue = 0, greens[2] = {};
};

Colours coloursOf(const Frame& frame, const Background& sky, const ExpectedStar& star,
                  const Reach& reach, const MosaicPhase& phase) {
    Colours sums;
    for (unsigned j = 0; j <= 2 * reach.y; ++j)
        for (unsigned i = 0; i <= 2 * reach.x; ++i) {
            const auto x = static_cast<unsigned>(std::lround(star.x)) - reach.x + i;
            const auto y = static_cast<unsigned>(std::lround(star.y)) - reach.y + j;
            const double value = frame.at(x, y) - sky.at(x, y);
            const bool redColumn = (frame.window.x + x) % 2 == phase.column;
            const bool redRow = (frame.window.y + y) % 2 == phase.row;
            if (redColumn == redRow)
                (redRow ? sums.red : sums.blue) += value;
            else
                sums.greens[redRow ? 0 : 1] += value;
        }
    return sums;
}

std::string colour(Session& session) {
    Camera& camera = session.camera;
    const auto phase = session.mosaic();
    if (!phase)
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
        const Colours sums = coloursOf(frame, sky, star, reach, *phase);
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
    session.report.step("gain of previews", [&] { return previewGain(session); });
    session.report.step("8-bit pixels", [&] { return eightBit(session); });
}

void checkColour(Session& session) {
    session.report.step("colours", [&] { return colour(session); });
}

} // namespace acceptance
