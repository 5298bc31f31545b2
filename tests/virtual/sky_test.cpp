// SPDX-License-Identifier: LGPL-2.1-or-later
#include "raw_host.h"

#include "camera/mount.h"
#include "sky/random.h"
#include "sky/star_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera::test {

namespace {

struct Spot {
    double column = 0.0;
    double row = 0.0;
};

constexpr std::uint16_t kWidth = 640;
constexpr std::uint16_t kHeight = 480;

// With room for a few dozen stars.
Model wideRidge() {
    Model model = smallRidge();
    model.sensor.width = kWidth;
    model.sensor.height = kHeight;
    return model;
}

// A star bright enough to measure, not saturated by `seconds`, and alone in its surroundings.
const Star* lonelyStar(const StarField& sky, const Sensor& sensor, double seconds) {
    constexpr double kMargin = 20.0;
    const auto inside = [&](const Star& star) {
        const double column = sensor.columnOf(star.place);
        const double row = sensor.rowOf(star.place);
        return column > kMargin && column < sensor.width - kMargin && row > kMargin &&
               row < sensor.height - kMargin;
    };
    const auto alone = [&](const Star& star) {
        return std::none_of(sky.stars().begin(), sky.stars().end(), [&](const Star& other) {
            return &other != &star && std::abs(other.place.x - star.place.x) < 60.0 &&
                   std::abs(other.place.y - star.place.y) < 60.0;
        });
    };
    for (const Star& star : sky.stars())
        if (star.flux * seconds > 20000.0 && star.flux * seconds < 100000.0 && inside(star) &&
            alone(star))
            return &star;
    return nullptr;
}

// Centre of light around a place, in pixels of the image, above the median of its surroundings.
Spot centroid(const std::vector<std::uint16_t>& image, unsigned width, Spot about) {
    constexpr std::size_t kReach = 8;
    const auto left = static_cast<std::size_t>(about.column) - kReach;
    const auto top = static_cast<std::size_t>(about.row) - kReach;
    std::vector<std::uint16_t> box;
    for (std::size_t row = top; row <= top + 2 * kReach; ++row)
        for (std::size_t column = left; column <= left + 2 * kReach; ++column)
            box.push_back(image.at(row * width + column));
    auto sorted = box;
    std::sort(sorted.begin(), sorted.end());
    const double threshold = sorted[sorted.size() / 2] + 200.0; // some sigmas of its noise
    double sum = 0.0;
    Spot spot;
    for (std::size_t i = 0; i < box.size(); ++i) {
        const double signal = std::max(0.0, box[i] - threshold);
        sum += signal;
        spot.column += signal * (static_cast<double>(left + i % (2 * kReach + 1)) + 0.5);
        spot.row += signal * (static_cast<double>(top + i / (2 * kReach + 1)) + 0.5);
    }
    return {spot.column / sum, spot.row / sum};
}

} // namespace

TEST(Sky, ShowsStarsWhereTheCatalogueHasThem) {
    const Model model = wideRidge();
    const StarField sky{model.seed};
    const Star* star = lonelyStar(sky, model.sensor, 60.0);
    ASSERT_NE(star, nullptr);
    RawHost host{model};
    host.bringUp();
    const auto image = host.image(60.0, true, 1, 0, 0, kWidth, kHeight);
    const Spot place{model.sensor.columnOf(star->place), model.sensor.rowOf(star->place)};
    const Spot seen = centroid(image, kWidth, place);
    EXPECT_NEAR(seen.column, place.column, 0.2);
    EXPECT_NEAR(seen.row, place.row, 0.2);
}

TEST(Sky, MovesWithTheGuideRelays) {
    const Model model = wideRidge();
    const StarField sky{model.seed};
    const Star* star = lonelyStar(sky, model.sensor, 60.0);
    ASSERT_NE(star, nullptr);
    RawHost host{model};
    host.bringUp();
    host.command(24);
    host.command(20);
    host.command(22);
    host.wait(1.0);
    host.command(21); // takes over from its opposite
    host.wait(0.25);
    host.command(24);
    host.wait(9.0);
    const auto image = host.image(60.0, true, 1, 0, 0, kWidth, kHeight);
    // 7.5 arcseconds a second: a second one way and a quarter back; the other axis goes on.
    const double columns = 0.75 * 7.5 / model.sensor.arcsecondsPerColumn();
    const double rows = 1.25 * 7.5 / model.sensor.arcsecondsPerRow();
    const Spot place{model.sensor.columnOf(star->place) + columns,
                     model.sensor.rowOf(star->place) + rows};
    const Spot seen = centroid(image, kWidth, place);
    EXPECT_NEAR(seen.column, place.column, 0.2);
    EXPECT_NEAR(seen.row, place.row, 0.2);
}

TEST(Sky, TrailsWhileARelayIsClosedDuringAnExposure) {
    const Model model = wideRidge();
    const StarField sky{model.seed};
    const Star* star = lonelyStar(sky, model.sensor, 60.0);
    ASSERT_NE(star, nullptr);
    RawHost host{model};
    host.bringUp();
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.command(9, {1, 0});
    host.wait(30.0);
    host.command(20);
    host.wait(2.0);
    host.command(24);
    host.wait(30.0);
    host.command(2, {1, 0});
    host.command(9, {0, 0});
    host.readOutCommand(0, 1, 0, 0, kWidth, kHeight);
    const auto image = host.fetch(std::size_t{kWidth} * kHeight);
    // Half of the light on each side of a step of 15 arcseconds.
    const double columns = 0.5 * 2.0 * MountTraits{}.guideRate / model.sensor.arcsecondsPerColumn();
    const Spot place{model.sensor.columnOf(star->place) + columns, model.sensor.rowOf(star->place)};
    const Spot seen = centroid(image, kWidth, place);
    EXPECT_NEAR(seen.column, place.column, 0.3);
    EXPECT_NEAR(seen.row, place.row, 0.3);
}

TEST(Sky, GuideCommandsDoNothingWithoutAGuidePort) {
    Model model = smallRidge();
    model.hasGuidePort = false;
    RawHost without{model};
    without.bringUp();
    without.command(20);
    without.wait(10.0);
    RawHost with;
    with.bringUp();
    with.wait(10.0);
    EXPECT_EQ(without.image(5.0, true, 1, 0, 0, 320, 240),
              with.image(5.0, true, 1, 0, 0, 320, 240));
}

TEST(Sky, BayerPixelsSeeTheirColour) {
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = smallRidge();
        makeColour(model, phase);
        RawHost host{model};
        host.bringUp();
        host.wait(5.0);
        host.ask(136, {2, 0}, 2); // red
        host.wait(5.0);
        const auto image = host.image(600.0, true, 1, 0, 0, 100, 100);
        double sums[4] = {};
        for (std::size_t i = 0; i < image.size(); ++i)
            sums[2 * (i % 100 % 2) + i / 100 % 2] += image[i];
        // By column and row, red shows most at the place that the phase names.
        EXPECT_EQ(std::max_element(sums, sums + 4) - sums, static_cast<std::ptrdiff_t>(phase));
    }
}

TEST(Sky, BayerPixelsSeeTheColourOfStars) {
    Model model = wideRidge();
    makeColour(model, 1);
    model.ambient = -40.0; // hot pixels have no colour
    RawHost host{model};
    host.bringUp();
    host.wait(5.0);
    host.ask(136, {2, 0}, 2); // red
    host.wait(5.0);
    const auto image = host.image(60.0, true, 1, 0, 0, kWidth, kHeight);
    double sums[4] = {};
    for (std::size_t i = 0; i < image.size(); ++i)
        sums[2 * (i % kWidth % 2) + i / kWidth % 2] += std::max(0.0, image[i] - 3000.0);
    EXPECT_GT(sums[1], 4.0 * sums[0]);
    EXPECT_GT(sums[1], 4.0 * sums[2]);
    EXPECT_GT(sums[1], 4.0 * sums[3]);
}

TEST(Sky, SaturatesAtTheTopOfTheScale) {
    RawHost host;
    host.bringUp();
    const auto image = host.image(3600.0, true, 1, 0, 0, 320, 240);
    EXPECT_EQ(*std::max_element(image.begin(), image.end()), 65535);
}

TEST(Sky, IsTheSameForTheSameSeed) {
    const StarField one{5};
    const StarField same{5};
    const StarField other{6};
    EXPECT_EQ(one.stars()[0].place.x, same.stars()[0].place.x);
    EXPECT_NE(one.stars()[0].place.x, other.stars()[0].place.x);
}

TEST(Noise, IsNormallyDistributed) {
    GaussianNoise noise{1};
    constexpr int kCount = 1000000;
    double sum = 0.0;
    double squares = 0.0;
    int beyondTwo = 0;
    for (int i = 0; i < kCount; ++i) {
        const double value = noise.next();
        sum += value;
        squares += value * value;
        beyondTwo += std::abs(value) > 2.0 ? 1 : 0;
    }
    EXPECT_NEAR(sum / kCount, 0.0, 0.01);
    EXPECT_NEAR(squares / kCount, 1.0, 0.01);
    EXPECT_NEAR(beyondTwo / double{kCount}, 0.0455, 0.002);
}

TEST(Noise, OfABiasFrameIsTheReadNoise) {
    RawHost host;
    host.bringUp();
    const auto bias = host.image(0.0, false, 1, 0, 0, 320, 240);
    EXPECT_NEAR(mean(bias), 1000.0, 0.5);
    EXPECT_NEAR(deviation(bias), 8.0 / 0.4, 0.5);
}

} // namespace tavo::virtualcamera::test
