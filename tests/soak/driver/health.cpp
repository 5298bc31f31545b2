// SPDX-License-Identifier: LGPL-2.1-or-later
#include "health.h"

#include "../speed.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

namespace tavo::soak {
namespace {

constexpr double kSeconds = 1.2; // of a picture, where the family exposes so long
constexpr unsigned kPause = 1000000;
constexpr int kMostPolls = 600;

// Wide enough for stars on every model; square, as some Herons want it.
Window pictureWindow(const TavoCapabilities& caps) {
    const unsigned side = std::min({caps.pixelCountX - 40, caps.pixelCountY - 40, 440u});
    return {40, 40, side, side, 1, 1};
}

double median(std::vector<unsigned short> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Four standard deviations of the background, and no less than a step of the camera.
double faintest(std::vector<unsigned short> values) {
    const bool isCoarse = std::all_of(values.begin(), values.end(),
                                      [](unsigned short value) { return value % 256 == 0; });
    const double level = median(values);
    for (unsigned short& value : values)
        value = static_cast<unsigned short>(std::abs(value - level));
    return std::max(isCoarse ? 256.0 : 32.0, 4 * 1.4826 * median(std::move(values)));
}

// The light of a picture above its background. What stands far above weighs as the square root,
// lest one bright star decides.
std::vector<double> lightOf(const std::vector<unsigned short>& pixels, double faint) {
    const double level = median(pixels) + faint;
    std::vector<double> light(pixels.size());
    std::transform(pixels.begin(), pixels.end(), light.begin(), [level](unsigned short pixel) {
        return std::sqrt(std::max(0.0, pixel - level));
    });
    return light;
}

// How alike two pictures are when the second is moved on by some pixels: their correlation, 1 for
// the same, which neither exposure nor gain changes much.
double likeness(const std::vector<double>& one, const std::vector<double>& other,
                std::size_t shift) {
    double both = 0, squareOne = 0, squareOther = 0;
    for (std::size_t i = shift; i < one.size(); ++i) {
        const double a = one[i], b = other[i - shift];
        both += a * b;
        squareOne += a * a;
        squareOther += b * b;
    }
    return squareOne > 0 && squareOther > 0 ? both / std::sqrt(squareOne * squareOther) : 0;
}

// Everything that an earlier user may have left otherwise.
bool prepare(WatchedCamera& camera) {
    bool ok = true;
    for (int mode = 0; mode < 3; ++mode)
        ok = camera.setMode(mode, false) && ok;
    const TavoCapabilities& caps = camera.capabilities();
    if (caps.hasGuidePort)
        ok = camera.setRelays(0) && ok;
    if (!caps.hasFilterWheel)
        return ok;
    ok = camera.setFilter(0) && ok;
    bool moving = true;
    unsigned current = 1;
    for (int poll = 0; ok && poll < kMostPolls && (moving || current != 0); ++poll) {
        usleep(kPause);
        ok = camera.readWheel(&moving, &current);
    }
    return ok && !moving && current == 0;
}

std::vector<unsigned short> takeTimed(WatchedCamera& camera) {
    const Window window = pictureWindow(camera.capabilities());
    const double longest = camera.capabilities().maxShortExposure;
    if (!camera.readCCD(window, std::min(kSeconds, longest)))
        return {};
    Image image = camera.getImage(camera.pixelCount(window));
    return image.arrived ? std::move(image.pixels) : std::vector<unsigned short>{};
}

// `seconds` is how long the host took, by the camera's clock.
std::vector<unsigned short> takeLong(WatchedCamera& camera, double* seconds) {
    const Window window = pictureWindow(camera.capabilities());
    const auto begin = std::chrono::steady_clock::now();
    if (!camera.startExposure(false))
        return {};
    usleep(camera.delay(kSeconds));
    if (!camera.readCCD(window))
        return {};
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    *seconds = kSpeed * passed.count();
    Image image = camera.getImage(camera.pixelCount(window));
    return image.arrived ? std::move(image.pixels) : std::vector<unsigned short>{};
}

// A busy computer exposes for longer than it was asked to: tries again, up to some times.
std::vector<unsigned short> takeLongInTime(WatchedCamera& camera, Host& host) {
    constexpr int kTries = 20;
    constexpr double kAtMost = 10 * kSeconds;
    std::vector<unsigned short> picture;
    for (int i = 0; i < kTries; ++i) {
        double seconds = 0;
        picture = takeLong(camera, &seconds);
        if (picture.empty() || seconds <= kAtMost)
            return picture;
        host.note("long exposure: took " + std::to_string(seconds) + " s");
    }
    return picture;
}

bool sameCapabilities(const TavoCapabilities& one, const TavoCapabilities& other) {
    const auto key = [](const TavoCapabilities& c) {
        return std::tuple(c.hasShutter, c.hasGuidePort, c.has8BitMode, c.hasFilterWheel,
                          c.gpioLineCount, c.pixelCountX, c.pixelCountY, c.pixelSizeX, c.pixelSizeY,
                          c.maxBinX, c.maxBinY, c.tempSensorCount, c.coolerType, c.colourType,
                          c.offsetX, c.offsetY);
    };
    return key(one) == key(other);
}

struct Tolerance {
    double leastLikeness, mostDifference;
};

// A picture that lies a pixel or a row off is more like the other where they are moved.
bool expectLike(Host& host, const char* what, const std::vector<unsigned short>& picture,
                const Reference& reference, const Tolerance& tolerance) {
    if (picture.size() != reference.pixels.size()) {
        host.finding(std::string("health: ") + what + ": no picture");
        return false;
    }
    const double faint = faintest(reference.pixels);
    const auto seen = lightOf(picture, faint), known = lightOf(reference.pixels, faint);
    const std::size_t row = pictureWindow(reference.capabilities).width;
    const double alike = likeness(seen, known, 0);
    const double moved = std::max({likeness(seen, known, 1), likeness(known, seen, 1),
                                   likeness(seen, known, row), likeness(known, seen, row)});
    const double difference = std::abs(median(picture) - median(reference.pixels));
    char text[160];
    std::snprintf(text, sizeof text,
                  "health: %s: likeness %.3f, when moved %.3f, background %.0f off", what, alike,
                  moved, difference);
    constexpr double kClearly = 1.03;
    const bool ok = alike >= tolerance.leastLikeness && alike >= kClearly * moved &&
                    difference <= tolerance.mostDifference;
    if (ok)
        host.note(text);
    else
        host.finding(text + std::string(": not the right picture"));
    return ok;
}

} // namespace

std::unique_ptr<WatchedCamera> findCamera(Host& host) {
    for (int tries = 0; tries < kMostPolls; ++tries) {
        TavoCamera* found = nullptr;
        const int count = host.watched("list()", [&] { return TavoCamera::list(&found, 1); });
        if (count == 1)
            return std::make_unique<WatchedCamera>(host, found);
        usleep(kPause);
    }
    host.finding("health: no camera is found");
    return nullptr;
}

Reference learn(WatchedCamera& camera, Host& host) {
    Reference reference;
    if (!camera.open() || !prepare(camera)) {
        host.finding("a sound camera is not ready");
        return reference;
    }
    reference.capabilities = camera.capabilities();
    camera.readGain(&reference.gain, &reference.offset);
    reference.pixels = takeTimed(camera);
    camera.close();
    if (reference.pixels.empty()) {
        host.finding("a sound camera gives no picture");
        return reference;
    }
    // Without stars every picture would be as good.
    constexpr unsigned kFewest = 50; // pixels
    const auto light = lightOf(reference.pixels, faintest(reference.pixels));
    if (std::count_if(light.begin(), light.end(), [](double l) { return l > 0; }) < kFewest) {
        host.finding("a sound camera shows no stars");
        reference.pixels.clear();
    }
    return reference;
}

bool isHealthy(WatchedCamera& camera, Host& host, const Reference& reference) {
    // Opening reads, too.
    camera.setParameter(MAX_PACKET_SIZE, 1 << 20);
    const unsigned char traced = std::exchange(TavoDebug, 1); // what fails here is to tell why
    const bool isOpen = camera.open();
    TavoDebug = traced;
    if (!isOpen) {
        host.finding("health: the camera does not open");
        return false;
    }
    if (!sameCapabilities(camera.capabilities(), reference.capabilities)) {
        host.finding("health: the camera's capabilities are not its own");
        camera.close();
        return false;
    }
    bool ok = prepare(camera);
    if (camera.type() == LUMEN_CAMERA)
        ok = camera.setGain(reference.gain, reference.offset) && ok;
    float celsius = -300;
    if (camera.type() != HERON_CAMERA)
        ok = camera.readTemperature(0, &celsius) && celsius > -100 && celsius < 100 && ok;
    if (!ok)
        host.finding("health: the camera is not ready");
    constexpr Tolerance kTimed{0.8, 150};
    ok = expectLike(host, "timed exposure", takeTimed(camera), reference, kTimed) && ok;
    // The host's clock is not as good as the camera's.
    constexpr Tolerance kLong{0.4, 20000};
    if (camera.capabilities().supportsLongExposure)
        ok =
            expectLike(host, "long exposure", takeLongInTime(camera, host), reference, kLong) && ok;
    camera.close();
    return ok;
}

} // namespace tavo::soak
