// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::size_t kWidth = 320;
constexpr std::size_t kHeight = 240;
constexpr std::size_t kPixels = kWidth * kHeight;
constexpr double kBias = 992.0;

using Image = std::vector<std::uint16_t>;

} // namespace

TEST(HeronExposure, GivesTheSamePictureAsAnyOtherCamera) {
    HeronHost heron{singleSampledHeron()};
    heron.bringUp();
    heron.expose(30.0);
    heron.setBinning(1, 1);
    heron.readOut();
    const Image picture = heron.fetchWords(kPixels);
    ASSERT_EQ(picture.size(), kPixels);

    Model model = smallRidge();
    model.sensor = smallHeron().sensor;
    model.cooler = CoolerKind::none;
    RawHost ridge{model};
    ridge.bringUp();
    const Image expected = ridge.image(30.0, true, 1, 0, 0, kWidth, kHeight);
    ASSERT_EQ(expected.size(), kPixels);
    EXPECT_LT(difference(picture, expected), 2.0) << "the noise is the same, too";
}

TEST(HeronExposure, TwoSamplesDifferByHalfOfWhatOneSampleTells) {
    HeronHost single{singleSampledHeron()};
    HeronHost twice;
    single.bringUp();
    twice.bringUp();
    single.expose(30.0);
    single.setBinning(1, 1);
    single.readOut();
    const Image one = single.fetchWords(kPixels);
    const Image two = twice.frame(30.0, kPixels);
    ASSERT_EQ(two.size(), kPixels);
    EXPECT_LT(difference(one, two), 1.0);
}

TEST(HeronExposure, BothSamplesShareTheNoiseOfTheReset) {
    HeronHost host;
    host.bringUp();
    host.expose(0.0);
    host.setBinning(1, 1);
    host.readOut();
    const Image words = host.fetchWords(2 * kPixels);
    ASSERT_EQ(words.size(), 2 * kPixels);
    Image references;
    Image differences;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        references.push_back(words[i]);
        differences.push_back(static_cast<std::uint16_t>(1000 + words[i + 1] - words[i]));
    }
    EXPECT_GT(deviation(references), 30.0);
    EXPECT_LT(deviation(differences), 12.0);
}

TEST(HeronExposure, ADummyWordComesFirst) {
    HeronHost host;
    host.bringUp();
    host.expose(1.0);
    host.setBinning(1, 1);
    host.readOut();
    const auto dummy = host.linkRead(2);
    EXPECT_EQ(dummy, (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(host.fetch(2 * kPixels).size(), 2 * kPixels);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronExposure, AlwaysSendsTheWholeBinnedFrame) {
    for (const auto& [x, y] : {std::array<unsigned, 2>{1, 1}, {2, 2}, {3, 2}, {1, 4}, {4, 3}}) {
        HeronHost host{singleSampledHeron()};
        host.bringUp();
        host.expose(0.5);
        host.setBinning(x, y);
        host.readOut();
        const std::size_t pixels = (kWidth / x) * (kHeight / y);
        EXPECT_EQ(host.fetchWords(pixels).size(), pixels) << x << "x" << y;
        EXPECT_FALSE(host.linkRead(1)) << x << "x" << y;
    }
}

TEST(HeronExposure, BinningAddsUpTheSamePieceOfSky) {
    HeronHost host{singleSampledHeron()};
    host.bringUp();
    const auto picture = [&host](unsigned x, unsigned y) {
        host.expose(4.0);
        host.setBinning(x, y);
        host.readOut();
        return host.fetchWords((kWidth / x) * (kHeight / y));
    };
    const Image full = picture(1, 1);
    const Image binned = picture(4, 2);
    ASSERT_EQ(binned.size(), kPixels / 8);
    Image expected;
    for (std::size_t row = 0; row < kHeight / 2; ++row)
        for (std::size_t column = 0; column < kWidth / 4; ++column) {
            double sum = kBias;
            for (std::size_t i = 0; i < 8; ++i)
                sum += full[(2 * row + i / 4) * kWidth + 4 * column + i % 4] - kBias;
            expected.push_back(static_cast<std::uint16_t>(std::clamp(sum, 0.0, 65535.0)));
        }
    const double own = deviation(binned);
    EXPECT_GT(own, 500.0) << "there are stars";
    EXPECT_LT(difference(binned, expected), 0.25 * own);
}

TEST(HeronExposure, BinningMustBeWrittenTwice) {
    HeronHost host{singleSampledHeron()};
    host.bringUp();
    host.expose(1.0);
    host.write(8, 0x110);
    host.readOut();
    EXPECT_TRUE(host.logged("the binning has not been written twice"));
    EXPECT_FALSE(host.linkRead(1));
    host.readOutTimed(100);
    EXPECT_FALSE(host.linkRead(1));
    host.write(8, 0x330);
    host.readOut();
    EXPECT_EQ(host.fetchWords(kPixels / 4).size(), kPixels / 4) << "what was written before counts";
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronExposure, RefusesBinningItDoesNotOffer) {
    HeronHost host{singleSampledHeron()};
    host.bringUp();
    host.setBinning(2, 2);
    for (const unsigned value : {0x040U, 0x400U, 0xFF0U, 0x001U})
        for (int i = 0; i < 2; ++i)
            host.write(8, value);
    EXPECT_TRUE(host.logged("5x1 is not offered"));
    host.expose(1.0);
    host.readOut();
    EXPECT_EQ(host.fetchWords(kPixels / 4).size(), kPixels / 4);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronExposure, GivesNoDataOutOfOrder) {
    const std::pair<const char*, void (*)(HeronHost&)> hosts[] = {
        {"nothing exposed", [](HeronHost& host) { host.readOut(); }},
        {"not cleared",
         [](HeronHost& host) {
             host.write(2, 0x200);
             host.write(5, 0);
             host.wait(1.0);
             host.readOut();
         }},
        {"cleared only",
         [](HeronHost& host) {
             host.write(2, 0x400);
             host.write(5, 0);
             host.readOut();
         }},
        {"clearing not set off",
         [](HeronHost& host) {
             host.write(2, 0x400);
             host.write(2, 0x200);
             host.write(5, 0);
             host.readOut();
         }},
        {"cleared with a count",
         [](HeronHost& host) {
             host.write(2, 0x400);
             host.write(5, 1);
             host.write(2, 0x200);
             host.write(5, 0);
             host.readOut();
         }},
        {"started with a count",
         [](HeronHost& host) {
             host.write(2, 0x400);
             host.write(5, 0);
             host.write(2, 0x200);
             host.write(5, 1);
             host.readOut();
         }},
        {"another count at the end",
         [](HeronHost& host) {
             host.expose(1.0);
             host.write(2, 0x4A0);
             host.write(5, 999);
         }},
        {"bits that do not go together",
         [](HeronHost& host) {
             host.expose(1.0);
             host.write(2, 0x480);
             host.write(5, 1000);
         }},
        {"a timed exposure of no length", [](HeronHost& host) { host.readOutTimed(0); }}};
    for (const auto& [name, misbehave] : hosts) {
        HeronHost host;
        host.bringUp();
        host.setBinning(1, 1);
        misbehave(host);
        EXPECT_FALSE(host.busy()) << name;
        EXPECT_FALSE(host.linkRead(2)) << name;
        EXPECT_EQ(host.frame(1.0, kPixels).size(), kPixels) << name;
    }
}

TEST(HeronExposure, OneExposureYieldsOneFrame) {
    HeronHost host;
    host.bringUp();
    EXPECT_EQ(host.frame(1.0, kPixels).size(), kPixels);
    host.readOut();
    EXPECT_TRUE(host.logged("nothing has been exposed"));
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronExposure, GathersFromTheStartToTheEndOnly) {
    HeronHost host;
    host.bringUp();
    host.wait(500.0);
    host.write(2, 0x400);
    host.write(5, 0);
    host.wait(50.0);
    host.write(2, 0x200);
    host.wait(50.0);
    host.write(5, 0);
    host.wait(10.0);
    host.setBinning(1, 1);
    host.write(2, 0x4A0);
    host.wait(10.0); // still gathers, until the timer is written
    host.write(5, 1000);
    host.wait(100.0);
    const double signal = median(host.fetchDifferences(kPixels)) - kBias;
    const double twenty = median(host.frame(20.0, kPixels)) - kBias;
    EXPECT_NEAR(signal / twenty, 1.0, 0.05);
}

TEST(HeronExposure, LongerExposuresAreBrighter) {
    HeronHost host;
    host.bringUp();
    const double minute = median(host.frame(60.0, kPixels)) - kBias;
    const double tenMinutes = median(host.frame(600.0, kPixels)) - kBias;
    EXPECT_GT(minute, 100.0) << "there is no shutter";
    EXPECT_NEAR(tenMinutes / minute, 10.0, 0.5);
}

TEST(HeronExposure, WarmCamerasHaveMoreDarkSignal) {
    Model model = smallHeron();
    model.seed = 3;
    HeronHost warm{model};
    model.ambient = -10.0;
    HeronHost cold{model};
    warm.bringUp();
    cold.bringUp();
    // 30 degrees are five halvings of 1 electron a second at 0.4 electrons a unit.
    EXPECT_NEAR(median(warm.frame(300.0, kPixels)) - median(cold.frame(300.0, kPixels)),
                300.0 / 0.4 * 31.0 / 32.0, 20.0);
}

TEST(HeronExposure, TimesShortExposuresItself) {
    HeronHost host;
    host.bringUp();
    host.setBinning(1, 1);
    const auto timed = [&host](unsigned code) {
        host.readOutTimed(code);
        return mean(host.fetchDifferences(kPixels)) - kBias;
    };
    const double second = timed(2929);
    EXPECT_NEAR(second / (mean(host.frame(1.0, kPixels)) - kBias), 1.0, 0.03);
    EXPECT_NEAR(timed(4095) / second, 4095.0 / 2929.0, 0.05);
    EXPECT_LT(timed(1), 0.05 * second);
}

TEST(HeronExposure, IsBusyUntilTheTimedExposureIsOver) {
    HeronHost host;
    host.bringUp();
    EXPECT_FALSE(host.busy());
    host.setBinning(1, 1);
    host.readOutTimed(2929); // 0.99977 s
    EXPECT_TRUE(host.busy());
    host.wait(0.9997);
    EXPECT_TRUE(host.busy());
    host.wait(0.05); // of the 60 ms that follow
    EXPECT_TRUE(host.busy());
    host.wait(0.015);
    EXPECT_FALSE(host.busy());
    EXPECT_EQ(host.fetchDifferences(kPixels).size(), kPixels);
    EXPECT_FALSE(host.busy());
}

TEST(HeronExposure, DataOfATimedExposureComeAfterIt) {
    HeronHost host;
    host.bringUp();
    host.setBinning(1, 1);
    host.readOutTimed(2929);
    host.request({9, 0, 0, 0, 0, 0, 2, 0}, {}, 0);
    EXPECT_EQ(host.device().bulkIn(0x88, 3).outcome, Outcome::nothing);
    const auto wake = host.device().wakeIn();
    ASSERT_TRUE(wake);
    EXPECT_GE(*wake, 999770U);
    EXPECT_LT(*wake, 1100000U);
}

TEST(HeronExposure, SpoilsAFrameThatIsReadWhileItIsBusy) {
    for (const Model& model : {smallHeron(), singleSampledHeron()}) {
        HeronHost host{model};
        host.bringUp();
        host.setBinning(1, 1);
        const std::size_t words = kPixels * model.samplesPerPixel;
        const auto fetchAtOnce = [&] {
            host.expose(10.0);
            host.readOut();
            return host.linkRead(2) ? host.fetch(words) : Image{};
        };
        // It comes, and when it should, but there is nothing on it.
        EXPECT_EQ(fetchAtOnce(), Image(words, 0xFFFF));
        EXPECT_TRUE(host.logged("read while line 4 says that it is busy, the frame is spoilt"));
        EXPECT_FALSE(host.linkRead(1)) << "no byte is left over";
        host.expose(10.0);
        host.readOut();
        const Image whole = host.fetchWords(words);
        ASSERT_EQ(whole.size(), words);
        EXPECT_GT(deviation(whole), 5.0) << "the next one is not";
    }
}

TEST(HeronExposure, StaysBusyLongEnoughToBeNoticed) {
    for (const Model& model : heronModels()) {
        EXPECT_GE(model.readoutLatency, 50 * kMillisecond) << model.key;
        EXPECT_LE(model.readoutLatency, 100 * kMillisecond) << model.key;
    }
}

TEST(HeronExposure, StartsAnewAfterAnAbortedExposure) {
    HeronHost host;
    host.bringUp();
    host.expose(500.0);
    const double fresh = median(host.frame(20.0, kPixels)) - kBias;
    const double usual = median(host.frame(20.0, kPixels)) - kBias;
    EXPECT_NEAR(fresh / usual, 1.0, 0.05);
    host.expose(500.0);
    host.readOutTimed(2929);
    EXPECT_LT(median(host.fetchDifferences(kPixels)) - kBias, 0.2 * usual);
    host.readOut();
    EXPECT_FALSE(host.linkRead(1)) << "the long one is lost";
}

TEST(HeronExposure, ANewFrameReplacesOneThatNoOneFetched) {
    HeronHost host;
    host.bringUp();
    const auto leaveAFrame = [&host] {
        host.expose(1.0);
        host.setBinning(1, 1);
        host.readOut();
        host.wait(10.0);
    };
    leaveAFrame();
    host.readOutTimed(100);
    EXPECT_EQ(host.fetchDifferences(kPixels).size(), kPixels);
    EXPECT_FALSE(host.linkRead(1));
    leaveAFrame();
    host.write(2, 0x400);
    host.write(5, 0);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronExposure, StartingWithASweepIsAStartToo) {
    HeronHost host;
    host.bringUp();
    host.setBinning(1, 1);
    host.write(2, 0x420);
    host.write(5, 0);
    host.write(2, 0x200);
    host.write(5, 0);
    host.wait(1.0);
    host.readOut();
    EXPECT_EQ(host.fetchDifferences(kPixels).size(), kPixels);
}

TEST(HeronExposure, TakesPicturesAfterEachBringUp) {
    HeronHost host;
    for (int i = 0; i < 3; ++i) {
        host.bringUp();
        EXPECT_EQ(host.frame(1.0, kPixels).size(), kPixels) << i;
        EXPECT_FALSE(host.linkRead(1)) << i;
    }
}

TEST(HeronExposure, ShowsTheMosaicOfAColourSensor) {
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = smallHeron();
        makeColour(model, phase);
        HeronHost host{model};
        host.bringUp();
        const Image image = host.frame(600.0, kPixels);
        ASSERT_EQ(image.size(), kPixels);
        std::array<Image, 4> classes; // by column, then row
        for (std::size_t i = 0; i < image.size(); ++i)
            classes[2 * (i % kWidth % 2) + i / kWidth % 2].push_back(image[i]);
        const double red = median(classes[phase]);
        const double blue = median(classes[phase ^ 3]);
        // The sky is brightest in green and a little brighter in red than in blue.
        EXPECT_GT(median(classes[phase ^ 1]), red + 20.0) << phase;
        EXPECT_GT(median(classes[phase ^ 2]), red + 20.0) << phase;
        EXPECT_GT(red, blue + 10.0) << phase;
    }
}

} // namespace tavo::virtualcamera::test
