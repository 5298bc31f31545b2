// SPDX-License-Identifier: LGPL-2.1-or-later
#include "basin_host.h"

#include "sky/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::uint16_t kWidth = 320;
constexpr std::uint16_t kHeight = 240;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr Region kAll{0, 0, kWidth, kHeight};
constexpr Region kSmall{0, 0, 10, 10};

// How much a window differs from the piece of a whole frame that starts at column x and row y.
double difference(const std::vector<std::uint16_t>& window, const Region& region,
                  const std::vector<std::uint16_t>& whole, std::size_t x, std::size_t y) {
    double sum = 0.0;
    for (std::size_t row = 0; row < region.height; ++row)
        for (std::size_t column = 0; column < region.width; ++column) {
            const double here = window.at(row * region.width + column);
            const double there = whole.at((row + y) * kWidth + column + x);
            sum += (here - there) * (here - there);
        }
    return std::sqrt(sum / static_cast<double>(window.size()));
}

template <typename Number>
double middle(std::vector<Number> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

constexpr int kReach = 6;

// Column and row of the centre of light above the background near a place, whole numbers being the
// edges of pixels.
std::pair<double, double> centroid(const std::vector<std::uint16_t>& image, std::size_t width,
                                   double background, double column, double row) {
    double sum = 0.0;
    double columns = 0.0;
    double rows = 0.0;
    for (int y = static_cast<int>(row) - kReach; y <= static_cast<int>(row) + kReach; ++y)
        for (int x = static_cast<int>(column) - kReach; x <= static_cast<int>(column) + kReach;
             ++x) {
            const double signal = std::max(
                0.0, image.at(static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)) -
                         background);
            sum += signal;
            columns += signal * (x + 0.5);
            rows += signal * (y + 0.5);
        }
    return {columns / sum, rows / sum};
}

// Whether a readout with these arguments, after a proper exposure, yields the first pixel.
bool yields(const Bytes& arguments) {
    BasinHost host;
    host.bringUp();
    host.startExposure();
    host.endExposure();
    EXPECT_TRUE(host.send(6, arguments));
    return !host.fetch(1).empty();
}

} // namespace

TEST(BasinExposure, YieldsAnImageToPlainBytes) {
    BasinHost host;
    host.bringUp();
    const auto send = [&host](const Bytes& packet) {
        EXPECT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, packet, 0));
    };
    send({0x80, 'V', 'R', 'Q', 2, 0, 0});
    send({0x80, 'V', 'R', 'Q', 4});
    send({0x80, 'V', 'R', 'Q', 5});
    host.wait(3.0);
    send({0x80, 'V', 'R', 'Q', 66});
    host.wait(2.0);
    send({0x80, 'V', 'R', 'Q', 2, 1, 0});
    EXPECT_TRUE(host.logged("end after 5 s"));
    send({0x80, 'V', 'R', 'Q', 6, 0x00, 0x02, 0x02, 0x0B, 0x00, 0x15, 0x00, 0x6F, 0x00, 0x47, 0x00,
          0x00, 0x03});
    EXPECT_TRUE(host.logged("code 0, bin 2x2, columns 11 to before 111, rows 21 to before 71"));
    // 50 x 25 pixels of two bytes without filler: 2500 bytes and one more.
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 0xC4, 0x09}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 2501).outcome, Outcome::nothing) << "takes its time";
    host.wait(1.0);
    EXPECT_EQ(host.device().bulkIn(0x88, 2501).data.size(), 2501U);
    EXPECT_FALSE(host.linkRead(1)) << "no byte is left over";
}

TEST(BasinExposure, GivesNoDataWithoutAnExposure) {
    BasinHost host;
    host.bringUp();
    host.readOut(0, 1, kSmall);
    EXPECT_TRUE(host.logged("nothing has been exposed"));
    EXPECT_FALSE(host.linkRead(2));
    EXPECT_EQ(host.image(2.0, 1, kSmall).size(), 100U);
    host.readOut(0, 1, kSmall);
    EXPECT_FALSE(host.linkRead(2)) << "one exposure yields one image";
}

TEST(BasinExposure, NeedsItsStepsInOrder) {
    const std::vector<std::vector<Bytes>> wrong{
        {{4}, {5}},             // not prepared
        {{2, 0, 0}, {5}},       // not cleared
        {{2, 0, 0}, {4}},       // not started
        {{2, 0, 0}, {5}, {4}},  // cleared late
        {{2, 0, 1}, {4}, {5}},  // prepared with the value's bytes exchanged
        {{2, 1, 0}, {4}, {5}}}; // ended instead of prepared
    for (const auto& steps : wrong) {
        BasinHost host;
        host.bringUp();
        for (const Bytes& step : steps)
            host.send(step[0], Bytes(step.begin() + 1, step.end()));
        host.endExposure();
        host.readOut(0, 1, kSmall);
        EXPECT_TRUE(host.fetch(100).empty());
    }
}

TEST(BasinExposure, SweepsItsRegistersBeforeTheEnd) {
    const auto taken = [](bool sweep, double pause, bool end) {
        BasinHost host;
        host.bringUp();
        host.startExposure();
        host.wait(1.0);
        if (sweep)
            host.send(66);
        host.wait(pause);
        if (end)
            host.send(2, {1, 0});
        host.readOut(0, 1, kSmall);
        return host.fetch(100).size();
    };
    EXPECT_EQ(taken(true, 2.0, true), 100U);
    EXPECT_EQ(taken(true, 1.0, true), 0U) << "cut short";
    EXPECT_EQ(taken(false, 2.0, true), 0U) << "left out";
    EXPECT_EQ(taken(true, 2.0, false), 0U) << "never ended";
}

TEST(BasinExposure, ASweepCountsForItsExposureOnly) {
    BasinHost host;
    host.bringUp();
    host.startExposure();
    host.send(66);
    host.wait(2.0);
    host.startExposure();
    host.wait(2.0);
    host.send(2, {1, 0});
    EXPECT_TRUE(host.logged("the registers have not been swept"));
    host.readOut(0, 1, kSmall);
    EXPECT_TRUE(host.fetch(100).empty());
}

TEST(BasinExposure, TakesOnlyArgumentsItKnows) {
    // Code, bins, columns 1 to before 11, rows 1 to before 11, preview, mark.
    const Bytes good{0, 1, 1, 1, 0, 1, 0, 11, 0, 11, 0, 0, 3};
    EXPECT_TRUE(yields(good));
    const auto with = [&good](std::size_t index, std::uint8_t value) {
        Bytes bytes = good;
        bytes[index] = value;
        return bytes;
    };
    EXPECT_TRUE(yields(with(1, 4)));
    EXPECT_TRUE(yields(with(2, 4)));
    EXPECT_TRUE(yields(with(11, 1)));
    EXPECT_FALSE(yields(with(1, 0)));
    EXPECT_FALSE(yields(with(1, 5)));
    EXPECT_FALSE(yields(with(2, 0)));
    EXPECT_FALSE(yields(with(2, 5)));
    EXPECT_FALSE(yields(with(3, 0))) << "columns count from 1";
    EXPECT_FALSE(yields(with(5, 0))) << "rows count from 1";
    EXPECT_FALSE(yields(with(3, 11))) << "no columns";
    EXPECT_FALSE(yields(with(9, 1))) << "no rows";
    EXPECT_FALSE(yields(with(3, 12))) << "ends before it begins";
    EXPECT_FALSE(yields(with(5, 12))) << "ends before it begins";
    EXPECT_FALSE(yields(with(11, 2)));
    EXPECT_FALSE(yields(with(12, 0)));
    EXPECT_FALSE(yields(with(12, 0x43)));
}

TEST(BasinExposure, EndsAtTheLastColumnButNotAtTheLastRow) {
    // Its line counter goes as far as an image as high as wide needs it.
    EXPECT_TRUE(yields({0, 1, 1, 1, 0, 0x37, 0x01, 11, 0, 0x41, 0x01, 0, 3}));
    EXPECT_FALSE(yields({0, 1, 1, 1, 0, 0x38, 0x01, 11, 0, 0x42, 0x01, 0, 3}));
    // 320 columns: the end lies before column 321.
    EXPECT_TRUE(yields({0, 1, 1, 0x37, 0x01, 1, 0, 0x41, 0x01, 11, 0, 0, 3}));
    EXPECT_FALSE(yields({0, 1, 1, 0x38, 0x01, 1, 0, 0x42, 0x01, 11, 0, 0, 3}));
    BasinHost host;
    host.bringUp();
    const auto pixels = host.image(600.0, 1, {0, kHeight - 10, 10, 20});
    ASSERT_EQ(pixels.size(), 200U);
    const std::vector<std::uint16_t> overscan(pixels.begin() + 100, pixels.end());
    EXPECT_NEAR(mean(overscan), 1000.0, 10.0);
    EXPECT_GT(mean({pixels.begin(), pixels.begin() + 100}), 1500.0);
}

TEST(BasinExposure, AWindowIsTheSamePieceOfSkyToThePixel) {
    BasinHost host;
    host.bringUp();
    const auto whole = host.image(60.0, 1, kAll);
    constexpr Region kWindow{100, 60, 150, 120};
    const auto window = host.image(60.0, 1, kWindow);
    const double right = difference(window, kWindow, whole, 100, 60);
    for (const auto& [x, y] : {std::pair{99, 60}, {101, 60}, {100, 59}, {100, 61}})
        EXPECT_GT(difference(window, kWindow, whole, static_cast<std::size_t>(x),
                             static_cast<std::size_t>(y)),
                  1.5 * right);
}

TEST(BasinExposure, ShowsStarsWhereTheCatalogueHasThem) {
    constexpr Region kWindow{150, 70, 600, 500};
    Model model = smallBasin();
    model.sensor.width = 800; // room for more stars
    model.sensor.height = 600;
    model.sensor.pixelHeight = 6.0; // neither axis may stand for the other
    const StarField sky{model.seed};
    BasinHost host{model};
    host.bringUp();
    const auto image = host.image(60.0, 1, kWindow);
    const double background = middle(image) + 200.0; // some sigmas of its noise
    std::vector<double> right;
    std::vector<double> down;
    for (const Star& star : sky.stars()) {
        const double column = model.sensor.columnOf(star.place) - kWindow.x;
        const double row = model.sensor.rowOf(star.place) - kWindow.y;
        const bool inside = column > kReach && column < kWindow.width - kReach && row > kReach &&
                            row < kWindow.height - kReach;
        if (star.flux * 60.0 < 20000.0 || !inside)
            continue;
        const auto [x, y] = centroid(image, kWindow.width, background, column, row);
        right.push_back(x - column);
        down.push_back(y - row);
    }
    ASSERT_GT(right.size(), 4U);
    // The middle one: neighbours draw some away.
    EXPECT_NEAR(middle(right), 0.0, 0.1);
    EXPECT_NEAR(middle(down), 0.0, 0.1);
}

TEST(BasinExposure, GathersLightAsLongAsItIsExposed) {
    BasinHost host;
    host.bringUp();
    const double ten = mean(host.image(10.0, 1, kAll)) - 1000.0;
    const double twenty = mean(host.image(20.0, 1, kAll)) - 1000.0;
    EXPECT_NEAR(twenty / ten, 2.0, 0.15);
}

TEST(BasinExposure, BinningAddsUpAndBothAxesAreTheirOwn) {
    BasinHost host;
    host.bringUp();
    const double single = middle(host.image(300.0, 1, kAll)) - 1000.0;
    const auto binned = host.image(300.0, 4, kAll);
    ASSERT_EQ(binned.size(), kPixels / 16);
    EXPECT_NEAR((middle(binned) - 1000.0) / single, 16.0, 0.8);
    host.startExposure();
    host.endExposure();
    host.send(6, {0, 3, 2, 2, 0, 2, 0, 13, 0, 10, 0, 0, 3}); // 11 x 8 pixels by 3 x 2
    EXPECT_EQ(host.fetch(3 * 4).size(), 12U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(BasinExposure, TimesShortExposuresItself) {
    BasinHost host;
    host.bringUp();
    const auto light = [&host](std::uint8_t code) {
        const auto image = host.timedImage(code, kAll);
        EXPECT_EQ(image.size(), kPixels);
        return mean(image) - 1000.0;
    };
    const double second = light(109); // (109 - 9) x 10 ms
    EXPECT_GT(second, 3.0);
    EXPECT_NEAR(light(255) / second, 2.46, 0.2);
    EXPECT_NEAR(light(59) / second, 0.5, 0.1);
    EXPECT_LT(light(9), 0.1 * second) << "9 ms";
    EXPECT_TRUE(host.logged("code 255 (2460 ms)"));
    EXPECT_TRUE(host.logged("code 59 (500 ms)"));
    EXPECT_TRUE(host.logged("code 9 (9 ms)"));
}

TEST(BasinExposure, DataOfATimedExposureComeAfterIt) {
    BasinHost host;
    host.bringUp();
    host.readOut(59, 1, {0, 0, 10, 1});
    host.request({9, 0, 0, 0, 0, 0, 20, 0}, {}, 0);
    EXPECT_EQ(host.device().bulkIn(0x88, 21).outcome, Outcome::nothing);
    const auto wake = host.device().wakeIn();
    ASSERT_TRUE(wake);
    EXPECT_GE(*wake, 500000U);
    EXPECT_LT(*wake, 520000U);
}

// The time-out of the link is a second from bring-up on, whatever is read.
TEST(BasinExposure, ALongTimedExposureMustBeWaitedFor) {
    BasinHost host;
    host.bringUp();
    host.readOut(255, 1, kSmall);
    EXPECT_TRUE(host.fetch(100).empty()) << "2.46 s have not gone by";
    host.readOut(255, 1, kSmall);
    host.wait(2.46);
    EXPECT_EQ(host.fetch(100).size(), 100U);
}

TEST(BasinExposure, ATimedOneTakesThePlaceOfWhatWentBefore) {
    BasinHost host;
    host.bringUp();
    host.startExposure();
    host.endExposure();
    host.readOut(0, 1, kAll); // fetched by no one
    EXPECT_EQ(host.timedImage(1, kSmall).size(), 100U);
    EXPECT_FALSE(host.linkRead(1)) << "nothing of the first image is left";
    host.startExposure();
    EXPECT_EQ(host.timedImage(1, kSmall).size(), 100U);
    host.endExposure();
    EXPECT_TRUE(host.logged("nothing is being exposed"));
}

TEST(BasinExposure, APreviewIsFasterAndNoisier) {
    Model model = smallBasin();
    model.sensor.fullWell = 0.0; // nothing but noise
    BasinHost host{model};
    host.bringUp();
    const auto wait = [&host](std::uint8_t preview) {
        host.startExposure();
        host.endExposure();
        host.readOut(0, 1, kAll, preview);
        host.request({9, 0, 0, 0, 2, 0, 0x00, 0x58}, {}, 0); // 320 x 240 x 2 bytes
        EXPECT_EQ(host.device().bulkIn(0x88, 2 * kPixels).outcome, Outcome::nothing);
        return static_cast<double>(host.device().wakeIn().value_or(0));
    };
    const double slow = wait(0);
    const double quiet = deviation(host.fetch(kPixels));
    EXPECT_NEAR(wait(1) / slow, 0.5, 0.1);
    EXPECT_NEAR(deviation(host.fetch(kPixels)) / quiet, 2.0, 0.1);
}

TEST(BasinExposure, ColourPixelsLieWhereTheMarkerSays) {
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = smallBasin();
        makeColour(model, phase);
        model.ambient = -40.0; // hot pixels have no colour
        BasinHost host{model};
        host.start();
        EXPECT_EQ(host.readEeprom(0xE8, 5),
                  (Bytes{0x84, 0xD9, 0x01, static_cast<std::uint8_t>(phase), 0x00}));
        host.bringUp();
        const auto image = host.image(3000.0, 1, kAll);
        std::array<std::vector<std::uint16_t>, 4> classes;
        for (std::size_t i = 0; i < image.size(); ++i)
            classes[2 * (i % kWidth % 2) + i / kWidth % 2].push_back(image[i]);
        // Green pixels see most of the sky, blue ones least.
        const double red = middle(classes[phase]);
        EXPECT_GT(red, middle(classes[3 - phase]) + 10.0) << phase;
        EXPECT_LT(red, middle(classes[phase ^ 1]) - 10.0) << phase;
        EXPECT_LT(red, middle(classes[phase ^ 2]) - 10.0) << phase;
    }
}

TEST(BasinDisorder, LeavesTheCameraUsable) {
    constexpr std::array<std::uint8_t, 14> kKnown{2,  4,  5,  6,  10, 17, 44,
                                                  52, 53, 54, 55, 56, 57, 66};
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        BasinHost host;
        host.bringUp();
        Random random{seed};
        const auto below = [&random](unsigned limit) {
            return static_cast<unsigned>(random.next() % limit);
        };
        for (int i = 0; i < 500; ++i) {
            const std::uint8_t number = kKnown[below(kKnown.size())];
            Bytes arguments(number == 6 ? 13 : below(3));
            for (std::uint8_t& byte : arguments)
                byte = static_cast<std::uint8_t>(below(below(2) == 0 ? 4 : 256));
            host.send(number, arguments);
            if (below(4) == 0)
                host.linkRead(below(20));
            if (below(4) == 0)
                host.wait(below(30) * 0.1);
        }
        host.start();
        host.setLinkTimeout(50);
        while (host.linkRead(1)) {
        }
        host.bringUp();
        EXPECT_EQ(host.query(17, {9}, 2), Bytes{9}) << "seed " << seed;
        EXPECT_EQ(host.image(3.0, 2, {0, 0, 100, 100}).size(), 2500U) << "seed " << seed;
    }
}

} // namespace tavo::virtualcamera::test
