// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::uint16_t kWidth = 320;
constexpr std::uint16_t kHeight = 240;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr std::size_t kLag = 2; // samples of the converter before the first pixel

constexpr std::uint8_t k8Bit = 0x20;
constexpr std::uint8_t kMicroseconds = 0x04;
constexpr std::uint8_t kPreview = 0x01;

Model stillLumen() {
    Model model = smallLumen();
    model.gpioLines = 0;
    return model;
}

// The pixel of a picture as it came, the converter's samples not counted.
std::uint16_t pixelAt(const std::vector<std::uint16_t>& words, std::size_t columns, std::size_t x,
                      std::size_t y) {
    return words[y * columns + x + kLag];
}

struct Spot {
    std::size_t x;
    std::size_t y;
};

// The brightest 5 x 5 pixels of a picture, so that no hot pixel wins.
Spot brightest(const std::vector<std::uint16_t>& words, std::size_t columns, std::size_t rows) {
    Spot best{0, 0};
    unsigned most = 0;
    for (std::size_t y = 2; y + 3 < rows; ++y)
        for (std::size_t x = 2; x + 2 < columns; ++x) {
            unsigned sum = 0;
            for (std::size_t j = y - 2; j <= y + 2; ++j)
                for (std::size_t i = x - 2; i <= x + 2; ++i)
                    sum += pixelAt(words, columns, i, j);
            if (sum > most) {
                most = sum;
                best = {x, y};
            }
        }
    return best;
}

} // namespace

TEST(LumenExposure, YieldsAnImageToPlainBytes) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(host.exchange({'C', 'M', 'D', 2, 0, 0}));
    ASSERT_TRUE(host.exchange({'C', 'M', 'D', 4}));
    host.wait(0.2);
    ASSERT_TRUE(host.exchange({'C', 'M', 'D', 5}));
    host.wait(2.0);
    const Bytes packet{'C',  'M',  'D',  6,    0x00, 0x00, 0x00, 0x02, 0x00, 0x02,
                       0x00, 0x0A, 0x00, 0x14, 0x00, 0x64, 0x00, 0x32, 0x21, 0x43};
    EXPECT_EQ(host.exchange(packet), packet);
    EXPECT_TRUE(host.logged("bin 2x2, window 10,20 100x50, preview, 8 bits"));
    // 50 x 25 pixels of a byte, and one more byte.
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 0xE2, 0x04}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 1251).outcome, Outcome::nothing) << "takes its time";
    host.wait(1.0);
    EXPECT_EQ(host.device().bulkIn(0x88, 1251).data.size(), 1251U);
    EXPECT_FALSE(host.linkRead(1)) << "no byte is left over";
}

TEST(LumenExposure, AnswersNoApplicationPingWhileItClearsItsSensor) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(host.send(2, {0, 0}));
    ASSERT_TRUE(host.send(4));
    EXPECT_EQ(host.send(253, {0, 0x7B}, 2), (Bytes{0, 0x7B}));
    EXPECT_EQ(host.send(80, {0, 0x7B}, 2), (Bytes{0, 0}));
    EXPECT_FALSE(host.send(5));
    EXPECT_FALSE(host.send(53, {}, 8));
    EXPECT_TRUE(
        host.logged("command 5 start the exposure is refused, the sensor is being cleared"));
    unsigned failed = 0;
    while (host.send(80, {0, 0x7B}, 2) != Bytes{0, 0x7C}) {
        ASSERT_LT(++failed, 400U);
        host.wait(0.025);
    }
    EXPECT_GT(failed, 1U);
    EXPECT_TRUE(host.send(5));
}

TEST(LumenExposure, NeedsItsStepsInOrder) {
    LumenHost host;
    host.bringUp();
    EXPECT_FALSE(host.send(4)) << "not prepared";
    EXPECT_FALSE(host.send(5)) << "not cleared";
    EXPECT_FALSE(host.readOut({})) << "nothing exposed";
    ASSERT_TRUE(host.send(2, {0, 0}));
    EXPECT_FALSE(host.send(5));
    EXPECT_FALSE(host.send(2, {0, 1}));
    EXPECT_FALSE(host.send(2, {1, 0}));
    EXPECT_FALSE(host.linkRead(1));
    // An exposure yields one image.
    EXPECT_EQ(host.picture(1.0).size(), kPixels);
    EXPECT_FALSE(host.readOut({}));
    EXPECT_FALSE(host.linkRead(1));
}

TEST(LumenExposure, StartingAnewDropsAnImageThatNoOneFetched) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(host.beginExposure());
    ASSERT_TRUE(host.readOut({}));
    host.wait(10.0);
    EXPECT_EQ(host.picture(1.0, {.width = 10, .height = 10}).size(), 100U);
    EXPECT_FALSE(host.linkRead(1));
    ASSERT_TRUE(host.beginExposure());
    ASSERT_TRUE(host.readOut({}));
    host.wait(10.0);
    EXPECT_EQ(host.timedPicture(10, {.width = 10, .height = 10}).size(), 100U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(LumenExposure, TwoEmptySamplesComeBeforeTheFirstPixel) {
    LumenHost host;
    host.bringUp();
    const auto words = host.picture(1.0, {.width = 20, .height = 10});
    ASSERT_EQ(words.size(), 200U);
    EXPECT_EQ(words[0], 0);
    EXPECT_EQ(words[1], 0);
    for (std::size_t i = kLag; i < words.size(); ++i)
        EXPECT_GT(words[i], 800) << i;
    EXPECT_EQ(host.picture(1.0, {.width = 1, .height = 1}), std::vector<std::uint16_t>{0});
}

TEST(LumenExposure, AWindowIsTheSamePieceOfSky) {
    LumenHost host{stillLumen()};
    host.bringUp();
    const auto full = host.picture(30.0);
    ASSERT_EQ(full.size(), kPixels);
    const Spot star = brightest(full, kWidth, kHeight);
    const LumenReadout readout{
        .x = static_cast<std::uint16_t>(star.x - std::min<std::size_t>(star.x, 7)),
        .y = static_cast<std::uint16_t>(star.y - std::min<std::size_t>(star.y, 9)),
        .width = 40,
        .height = 30};
    if (readout.x + readout.width > kWidth || readout.y + readout.height > kHeight)
        GTEST_FAIL() << "another seed is needed";
    const auto window = host.picture(30.0, readout);
    ASSERT_EQ(window.size(), 1200U);
    const Spot again = brightest(window, 40, 30);
    EXPECT_EQ(again.x + readout.x, star.x);
    EXPECT_EQ(again.y + readout.y, star.y);
}

TEST(LumenExposure, ABinnedPictureIsTheSamePieceOfSky) {
    LumenHost host{stillLumen()};
    host.bringUp();
    const Spot star = brightest(host.picture(30.0), kWidth, kHeight);
    const Spot binned = brightest(host.picture(30.0, {.bin = 2}), kWidth / 2, kHeight / 2);
    EXPECT_NEAR(static_cast<double>(binned.x), (static_cast<double>(star.x) + 0.5) / 2, 1.0);
    EXPECT_NEAR(static_cast<double>(binned.y), (static_cast<double>(star.y) + 0.5) / 2, 1.0);
}

TEST(LumenExposure, BinnedColumnsAreRoundedUpAndRowsDown) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(host.beginExposure());
    ASSERT_TRUE(host.readOut({.bin = 3, .x = 1, .y = 1, .width = 10, .height = 11}));
    EXPECT_EQ(host.fetch(4 * 3).size(), 12U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(LumenExposure, BinningAddsUpWithOneBias) {
    LumenHost host;
    host.bringUp();
    const auto level = [](const std::vector<std::uint16_t>& words) {
        return mean({words.begin() + kLag, words.end()}) - 1000.0;
    };
    const double single = level(host.picture(10.0));
    EXPECT_NEAR(level(host.picture(10.0, {.bin = 4})) / single, 16.0, 1.0);
}

TEST(LumenExposure, RowsHaveAnEvenNumberOfBytesInThe8BitMode) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(host.beginExposure());
    ASSERT_TRUE(host.readOut({.bin = 2, .width = 101, .height = 101, .flags = k8Bit}));
    const auto bytes = host.linkRead(52 * 50);
    ASSERT_TRUE(bytes);
    EXPECT_FALSE(host.linkRead(1));
    // 1000 units are 3 times 256.
    EXPECT_EQ((*bytes)[0], 0);
    EXPECT_EQ((*bytes)[1], 0);
    EXPECT_EQ((*bytes)[2], 3);
    EXPECT_EQ(bytes->back(), 3);
}

TEST(LumenExposure, BytesOfThe8BitModeAreTheHighOnes) {
    LumenHost host{stillLumen()};
    host.bringUp();
    const auto words = host.picture(120.0);
    ASSERT_TRUE(host.beginExposure());
    host.wait(120.0);
    ASSERT_TRUE(host.readOut({.flags = k8Bit}));
    const auto bytes = host.linkRead(kPixels);
    ASSERT_TRUE(bytes);
    const double difference = mean({bytes->begin(), bytes->end()}) - mean(words) / 256.0;
    EXPECT_NEAR(difference, -0.5, 0.2) << "cut off, not rounded";
    const Spot star = brightest(words, kWidth, kHeight);
    const Spot again = brightest({bytes->begin(), bytes->end()}, kWidth, kHeight);
    EXPECT_NEAR(static_cast<double>(again.x), static_cast<double>(star.x), 1.0);
    EXPECT_NEAR(static_cast<double>(again.y), static_cast<double>(star.y), 1.0);
}

TEST(LumenExposure, ReadsOverscanPastTheEdges) {
    Model model = smallLumen();
    LumenHost host{model};
    host.bringUp();
    const auto below = host.picture(600.0, {.y = kHeight - 10, .width = 10, .height = 20});
    ASSERT_EQ(below.size(), 200U);
    EXPECT_GT(mean({below.begin() + kLag, below.begin() + 100}), 2000.0);
    EXPECT_NEAR(mean({below.begin() + 102, below.end()}), 1000.0, 15.0);
    EXPECT_EQ(host.picture(0.1, {.y = 220, .width = 10, .height = 100}).size(), 1000U)
        << "as far as the sensor is wide";
    EXPECT_TRUE(host.picture(0.1, {.y = 221, .width = 10, .height = 100}).empty());
}

TEST(LumenExposure, SeesLightAllTheTime) {
    LumenHost host;
    host.bringUp();
    const double ten = mean(host.picture(9.75)) - 1000.0;
    const double twenty = mean(host.picture(19.75)) - 1000.0;
    EXPECT_NEAR(twenty / ten, 2.0, 0.1);
}

// The host waits so much less.
TEST(LumenExposure, GathersLightWhileItsRegisterIsCleared) {
    LumenHost host;
    host.bringUp();
    const double second = mean(host.picture(0.75)) - 1000.0;
    const double timed = mean(host.timedPicture(1000)) - 1000.0;
    EXPECT_NEAR(second / timed, 1.0, 0.1);
    LumenHost first{modelOf(lumenModels(), "lumen-b")};
    first.bringUp();
    const LumenReadout whole{.width = 640, .height = 480};
    const double other = mean(first.picture(0.7, whole)) - 1000.0;
    EXPECT_NEAR(other / (mean(first.timedPicture(1000, whole)) - 1000.0), 1.0, 0.1);
}

TEST(LumenExposure, TimesShortExposuresItself) {
    LumenHost host;
    host.bringUp();
    const double second = mean(host.timedPicture(1000)) - 1000.0;
    const double three = mean(host.timedPicture(3000)) - 1000.0;
    EXPECT_NEAR(three / second, 3.0, 0.3);
    EXPECT_LT(mean(host.timedPicture(3000, {.flags = kMicroseconds})) - 1000.0, 0.05 * three);
    // Comes by itself, and may come in the midst of an exposure, which is lost.
    ASSERT_TRUE(host.beginExposure());
    EXPECT_EQ(host.timedPicture(10).size(), kPixels);
    EXPECT_FALSE(host.readOut({}));
}

TEST(LumenExposure, DataComeAfterTheExposure) {
    LumenHost host;
    host.bringUp();
    host.setLinkTimeout(30000);
    const auto waited = [&host](const LumenReadout& readout) {
        EXPECT_TRUE(host.readOut(readout));
        EXPECT_TRUE(host.request({9, 0, 0, 0, 0, 0, 20, 0}, {}, 0));
        EXPECT_EQ(host.device().bulkIn(0x88, 21).outcome, Outcome::nothing);
        const auto wake = host.device().wakeIn().value_or(0);
        host.wait(static_cast<double>(wake) / 1e6);
        EXPECT_EQ(host.device().bulkIn(0x88, 21).data.size(), 21U);
        return wake;
    };
    const auto timed = waited({.code = 3000, .width = 10, .height = 1, .kind = 0x03});
    EXPECT_GE(timed, 3000000U);
    EXPECT_LT(timed, 3100000U);
    ASSERT_TRUE(host.beginExposure());
    const auto cleared = waited({.width = 10, .height = 1});
    EXPECT_GE(cleared, 250000U);
    EXPECT_LT(cleared, 350000U);
}

TEST(LumenExposure, APreviewIsFaster) {
    LumenHost host;
    host.bringUp();
    host.setLinkTimeout(30000);
    const auto waited = [&host](std::uint8_t flags) {
        EXPECT_TRUE(host.readOut({.code = 1, .flags = flags, .kind = 0x03}));
        EXPECT_TRUE(host.request({9, 0, 0, 0, 2, 0, 0x00, 0x58}, {}, 0)); // 320 x 240 x 2 bytes
        EXPECT_EQ(host.device().bulkIn(0x88, 2 * kPixels).outcome, Outcome::nothing);
        return static_cast<double>(host.device().wakeIn().value_or(0));
    };
    EXPECT_NEAR(waited(kPreview) / waited(0), 0.6, 0.1);
}

TEST(LumenExposure, TakesOnlyReadoutsItUnderstands) {
    const struct {
        LumenReadout readout;
        const char* problem;
    } rows[] = {
        {{.bin = 0}, "the binning is not offered"},
        {{.bin = 5}, "the binning is not offered"},
        {{.width = 0}, "the window is empty"},
        {{.bin = 4, .height = 3}, "the window is empty"},
        {{.x = 1}, "the window leaves the sensor"},
        {{.x = 0xFFFF, .width = 2}, "the window leaves the sensor"},
        {{.y = 81}, "the window leaves the sensor"},
        {{.flags = 0x02}, "the flags hold some that mean nothing"},
        {{.flags = 0x04}, "the flags hold some that mean nothing"},
        {{.flags = 0x40}, "the flags hold some that mean nothing"},
        {{.kind = 0x42}, "neither 0x43 nor 0x03"},
        {{.kind = 0x00}, "neither 0x43 nor 0x03"},
        {{.code = 1}, "the host times the exposure but sends a code"},
        {{.code = 0, .kind = 0x03}, "the code is 0"},
        {{.code = 3001, .kind = 0x03}, "the code is above 3000 ms"},
        {{.code = 10, .flags = 0x08, .kind = 0x03}, "the flags hold some that mean nothing"}};
    for (const auto& row : rows) {
        LumenHost host;
        host.bringUp();
        ASSERT_TRUE(host.beginExposure());
        EXPECT_FALSE(host.readOut(row.readout)) << row.problem;
        EXPECT_TRUE(host.logged(row.problem)) << host.log().back();
        EXPECT_FALSE(host.linkRead(1));
    }
    for (const std::size_t gap : {2U, 4U}) {
        LumenHost host;
        host.bringUp();
        ASSERT_TRUE(host.beginExposure());
        Bytes arguments{0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 10, 0, 10, 0, 0x43};
        arguments[gap] = 1;
        EXPECT_FALSE(host.send(6, arguments));
        arguments[gap] = 0;
        EXPECT_TRUE(host.send(6, arguments));
    }
}

TEST(LumenExposure, Has8BitReadoutOnlyWhereItSaysSo) {
    Model model = smallLumen();
    model.has8BitMode = false;
    LumenHost host{model};
    host.bringUp();
    ASSERT_TRUE(host.beginExposure());
    EXPECT_FALSE(host.readOut({.flags = k8Bit}));
    EXPECT_TRUE(host.readOut({}));
}

TEST(LumenExposure, ColourPixelsStandWhereTheMarkerSays) {
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = smallLumen();
        makeColour(model, phase);
        LumenHost host{model};
        host.bringUp();
        host.wait(5.0);
        ASSERT_EQ(host.send(136, {0, 2}, 2), (Bytes{0, 1})); // the red filter
        host.wait(5.0);
        const auto words = host.picture(300.0);
        ASSERT_EQ(words.size(), kPixels);
        double sums[2][2] = {};
        for (std::size_t i = kLag; i < kPixels; ++i)
            sums[(i - kLag) / kWidth % 2][(i - kLag) % kWidth % 2] += words[i];
        for (unsigned row = 0; row < 2; ++row)
            for (unsigned column = 0; column < 2; ++column)
                if (row != phase % 2 || column != phase / 2) {
                    EXPECT_GT(sums[phase % 2][phase / 2], 1.1 * sums[row][column]) << phase;
                }
    }
}

TEST(LumenExposure, GuideRelaysMoveTheStars) {
    const auto starAfter = [](std::uint8_t relay) {
        LumenHost host{stillLumen()};
        host.bringUp();
        EXPECT_TRUE(host.send(24));
        EXPECT_TRUE(host.send(relay));
        host.wait(4.0); // 30 arcseconds, about 13 pixels
        EXPECT_TRUE(host.send(24));
        return brightest(host.picture(30.0), kWidth, kHeight);
    };
    const Spot middle = starAfter(24);
    EXPECT_NEAR(static_cast<double>(starAfter(20).x), static_cast<double>(middle.x) + 13.5, 1.5);
    EXPECT_NEAR(static_cast<double>(starAfter(21).x), static_cast<double>(middle.x) - 13.5, 1.5);
    EXPECT_NEAR(static_cast<double>(starAfter(22).y), static_cast<double>(middle.y) + 13.5, 1.5);
    EXPECT_NEAR(static_cast<double>(starAfter(23).y), static_cast<double>(middle.y) - 13.5, 1.5);
}

} // namespace tavo::virtualcamera::test
