// SPDX-License-Identifier: LGPL-2.1-or-later
#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::uint16_t kWidth = 320;
constexpr std::uint16_t kHeight = 240;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

} // namespace

TEST(RidgeExposure, YieldsAnImageToPlainBytes) {
    RawHost host;
    host.bringUp();
    const auto send = [&host](const Bytes& packet) {
        EXPECT_EQ(host.device().bulkOut(0x02, packet), Outcome::done);
        EXPECT_TRUE(host.request({10, 0, 0xFF, 0, 0, 0, 0, 0}, {}, 0));
    };
    send({'C', 0, 'M', 0, 'D', 0, 2, 0, 0, 0});
    send({'C', 0, 'M', 0, 'D', 0, 4, 0});
    send({'C', 0, 'M', 0, 'D', 0, 5, 0});
    send({'C', 0, 'M', 0, 'D', 0, 9, 0, 1, 0});
    host.wait(2.0);
    send({'C', 0, 'M', 0, 'D', 0, 2, 0, 1, 0});
    send({'C', 0, 'M', 0, 'D', 0, 9, 0, 0, 0});
    send({'C', 0, 'M', 0, 'D', 0, 6, 0, 0, 0, 2, 0, 2, 0, 10, 0, 20, 0, 100, 0, 50, 0, 0x43, 0});
    EXPECT_TRUE(host.logged("command 6 read out: code 0, bin 2x2, window 10,20 100x50"));
    // 50 x 25 pixels of two bytes: 2500 bytes and one more.
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 0xC4, 0x09}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 2501).outcome, Outcome::nothing) << "takes its time";
    host.wait(1.0);
    EXPECT_EQ(host.device().bulkIn(0x88, 2501).data.size(), 2501U);
    EXPECT_FALSE(host.linkRead(1)) << "no byte is left over";
}

TEST(RidgeExposure, GivesNoDataWithoutAnExposure) {
    RawHost host;
    host.bringUp();
    host.readOutCommand(0, 1, 0, 0, 10, 10);
    EXPECT_TRUE(host.logged("nothing has been exposed"));
    host.readOutCommand(100, 1, 0, 0, 10, 10);
    EXPECT_TRUE(host.logged("the sensor has not been prepared"));
    EXPECT_FALSE(host.linkRead(2));
    // One exposure yields one image.
    host.expose(1.0);
    host.readOutCommand(0, 1, 0, 0, 10, 10);
    EXPECT_EQ(host.fetch(100).size(), 100U);
    host.readOutCommand(0, 1, 0, 0, 10, 10);
    EXPECT_FALSE(host.linkRead(2));
}

TEST(RidgeExposure, RefusesWindowsAndBinningItDoesNotOffer) {
    RawHost host;
    host.bringUp();
    for (const auto& [bin, width, height] :
         {std::array<std::uint16_t, 3>{0, 10, 10}, {5, 10, 10}, {1, 0, 10}, {4, 10, 3}}) {
        host.expose(1.0);
        host.readOutCommand(0, bin, 0, 0, width, height);
        EXPECT_FALSE(host.linkRead(2)) << bin << " " << width << " " << height;
    }
}

TEST(RidgeExposure, NeedsItsStepsInOrder) {
    RawHost host;
    host.bringUp();
    host.command(5);
    host.command(2, {1, 0});
    host.readOutCommand(0, 1, 0, 0, 10, 10);
    EXPECT_FALSE(host.linkRead(2));
}

TEST(RidgeExposure, ClearingDropsAnImageThatNoOneFetched) {
    RawHost host;
    host.bringUp();
    host.expose(1.0);
    host.readOutCommand(0, 1, 0, 0, 100, 100);
    EXPECT_EQ(host.image(1.0, true, 1, 0, 0, 10, 10).size(), 100U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(RidgeExposure, ReadsOverscanPastTheEdge) {
    RawHost host;
    host.bringUp();
    const auto pixels = host.image(600.0, true, 1, 0, kHeight - 10, 10, 20);
    ASSERT_EQ(pixels.size(), 200U);
    const std::vector<std::uint16_t> overscan(pixels.begin() + 100, pixels.end());
    EXPECT_NEAR(mean(overscan), 1000.0, 10.0);
    EXPECT_GT(mean({pixels.begin(), pixels.begin() + 100}), 2000.0);
}

TEST(RidgeExposure, RefusesWhatItsCountersDoNotReach) {
    const struct {
        std::uint16_t x, y, width, height;
        bool taken;
    } rows[] = {{310, 0, 10, 10, true},     {311, 0, 10, 10, false},   {0, 0, 321, 10, false},
                {0, 310, 10, 10, true},     {0, 311, 10, 10, false},   {0, 0, 10, 321, false},
                {0xFFFF, 0, 10, 10, false}, {0, 0xFFFF, 10, 10, false}};
    for (const auto& row : rows) {
        RawHost host;
        host.bringUp();
        host.expose(0.1);
        host.readOutCommand(0, 1, row.x, row.y, row.width, row.height);
        EXPECT_EQ(host.linkRead(2).has_value(), row.taken) << row.x << " " << row.y;
        EXPECT_EQ(host.logged("no data, the window leaves the sensor"), !row.taken);
    }
}

TEST(RidgeExposure, ReachesBelowASensorThatIsTallByNoMore) {
    Model model = smallRidge();
    model.sensor.width = 240;
    model.sensor.height = 320;
    for (const std::uint16_t height : {std::uint16_t{320}, std::uint16_t{321}}) {
        RawHost host{model};
        host.bringUp();
        host.expose(0.1);
        host.readOutCommand(0, 1, 0, 0, 10, height);
        EXPECT_EQ(host.linkRead(2).has_value(), height == 320);
    }
}

TEST(RidgeExposure, DarkFramesAreDark) {
    RawHost host;
    host.bringUp();
    const auto dark = host.image(60.0, false, 1, 0, 0, kWidth, kHeight);
    const auto light = host.image(60.0, true, 1, 0, 0, kWidth, kHeight);
    ASSERT_EQ(dark.size(), kPixels);
    ASSERT_EQ(light.size(), kPixels);
    EXPECT_GT(mean(light), mean(dark) + 200.0);
    auto sorted = dark;
    std::sort(sorted.begin(), sorted.end());
    // Bias 1000 and a minute of 1 electron a second at 0.4 electrons a unit.
    EXPECT_NEAR(sorted[kPixels / 2], 1150, 6);
}

TEST(RidgeExposure, LongerExposuresAreBrighter) {
    RawHost host;
    host.bringUp();
    const double ten = mean(host.image(10.0, true, 1, 0, 0, kWidth, kHeight)) - 1000.0;
    const double twenty = mean(host.image(20.0, true, 1, 0, 0, kWidth, kHeight)) - 1000.0;
    EXPECT_NEAR(twenty / ten, 2.0, 0.15);
}

TEST(RidgeExposure, CooledFramesHaveLessDarkSignal) {
    RawHost host;
    host.bringUp();
    const auto warm = host.image(300.0, false, 1, 0, 0, kWidth, kHeight);
    host.ask(56, {620 & 0xFF, 620 >> 8}, 2);
    host.wait(3600.0);
    const auto cold = host.image(300.0, false, 1, 0, 0, kWidth, kHeight);
    // 30 degrees are five halvings.
    EXPECT_NEAR((mean(cold) - 1000.0) / (mean(warm) - 1000.0), 1.0 / 32.0, 0.01);
    EXPECT_LT(deviation(cold), deviation(warm));
}

TEST(RidgeExposure, IntegratesOnlyWhileTheShutterIsOpen) {
    RawHost host;
    host.bringUp();
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.wait(50.0);
    host.command(9, {1, 0});
    host.wait(10.0);
    host.command(2, {1, 0});
    host.command(9, {0, 0});
    host.readOutCommand(0, 1, 0, 0, kWidth, kHeight);
    const double late = mean(host.fetch(kPixels));
    EXPECT_LT(late, mean(host.image(60.0, true, 1, 0, 0, kWidth, kHeight)) - 100.0);
    EXPECT_GT(late, mean(host.image(60.0, false, 1, 0, 0, kWidth, kHeight)) + 20.0);
}

TEST(RidgeExposure, WithoutAShutterIntegratesToo) {
    Model model = smallRidge();
    model.hasShutter = false;
    RawHost host{model};
    host.bringUp();
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.wait(60.0);
    host.command(2, {1, 0});
    host.readOutCommand(0, 1, 0, 0, kWidth, kHeight);
    RawHost shuttered;
    shuttered.bringUp();
    EXPECT_NEAR(mean(host.fetch(kPixels)),
                mean(shuttered.image(60.0, true, 1, 0, 0, kWidth, kHeight)), 3.0);
}

TEST(RidgeExposure, TimesShortExposuresItself) {
    RawHost host;
    host.bringUp();
    host.request({12, 0, 0, 0, 0x30, 0x75, 0, 0}, {}, 0); // 30 s of patience
    const auto timed = [&host](std::uint16_t code, std::uint16_t flags) {
        host.command(2, {0, 0});
        host.command(4);
        host.command(5);
        host.readOutCommand(code, 1, 0, 0, kWidth, kHeight, flags);
        return mean(host.fetch(kPixels)) - 1000.0;
    };
    const double second = timed(1000, 0x0043);
    const double threeSeconds = timed(3000, 0x0043);
    EXPECT_NEAR(threeSeconds / second, 3.0, 0.3);
    EXPECT_LT(timed(3000, 0x0443), 0.05 * threeSeconds) << "counted in microseconds";
    EXPECT_LT(timed(3000, 0x1043), 0.5 * threeSeconds) << "dark";
}

TEST(RidgeExposure, ATimedExposureIsTakenOnce) {
    RawHost host;
    host.bringUp();
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.readOutCommand(10, 1, 0, 0, 10, 10);
    EXPECT_EQ(host.fetch(100).size(), 100U);
    host.readOutCommand(10, 1, 0, 0, 10, 10);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(RidgeExposure, APreviewIsFasterAndNoisier) {
    RawHost host;
    host.bringUp();
    const auto waited = [&host](std::uint16_t flags) {
        host.expose(0.0, false);
        host.readOutCommand(0, 1, 0, 0, kWidth, kHeight, flags);
        host.request({9, 0, 0, 0, 2, 0, 0x00, 0x58}, {}, 0); // 320 x 240 x 2 bytes
        EXPECT_EQ(host.device().bulkIn(0x88, 2 * kPixels).outcome, Outcome::nothing);
        return host.device().wakeIn().value_or(0);
    };
    const auto slow = waited(0x0043);
    const auto fast = waited(0x0143);
    EXPECT_NEAR(static_cast<double>(fast) / static_cast<double>(slow), 0.5, 0.1);
    EXPECT_NEAR(deviation(host.fetch(kPixels)), 2.0 * 8.0 / 0.4, 1.0);
}

TEST(RidgeExposure, DataOfATimedExposureComeAfterIt) {
    RawHost host;
    host.bringUp();
    host.request({12, 0, 0, 0, 0x30, 0x75, 0, 0}, {}, 0); // 30 s of patience
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.readOutCommand(3000, 1, 0, 0, 10, 1);
    host.request({9, 0, 0, 0, 0, 0, 20, 0}, {}, 0);
    EXPECT_EQ(host.device().bulkIn(0x88, 21).outcome, Outcome::nothing);
    const auto wake = host.device().wakeIn();
    ASSERT_TRUE(wake);
    EXPECT_GE(*wake, 3000000U);
    EXPECT_LT(*wake, 3100000U);
    host.wait(static_cast<double>(*wake) / 1e6);
    EXPECT_EQ(host.device().bulkIn(0x88, 21).data.size(), 21U);
}

TEST(RidgeExposure, BinningAddsUpWithOneBias) {
    RawHost host;
    host.bringUp();
    const auto single = host.image(300.0, false, 1, 0, 0, kWidth, kHeight);
    const auto binned = host.image(300.0, false, 4, 0, 0, kWidth, kHeight);
    ASSERT_EQ(binned.size(), kPixels / 16);
    EXPECT_NEAR((mean(binned) - 1000.0) / (mean(single) - 1000.0), 16.0, 0.5);
}

TEST(RidgeExposure, BinnedSizesAreRoundedDown) {
    RawHost host;
    host.bringUp();
    host.expose(1.0);
    host.readOutCommand(0, 3, 1, 1, 11, 8);
    EXPECT_EQ(host.fetch(3 * 2).size(), 6U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(RidgeExposure, AWindowIsTheSamePieceOfSky) {
    RawHost host;
    host.bringUp();
    const auto full = host.image(60.0, true, 1, 0, 0, kWidth, kHeight);
    const auto window = host.image(60.0, true, 1, 100, 60, 80, 90);
    ASSERT_EQ(window.size(), 80U * 90U);
    double differences = 0.0;
    for (std::size_t row = 0; row < 90; ++row)
        for (std::size_t column = 0; column < 80; ++column) {
            const double difference = static_cast<double>(window[row * 80 + column]) -
                                      full[(row + 60) * kWidth + column + 100];
            differences += difference * difference;
        }
    // Only the noise differs; in a different piece of sky the stars would.
    const double rms = std::sqrt(differences / static_cast<double>(window.size()));
    EXPECT_LT(rms, 0.5 * deviation(window));
    EXPECT_GT(rms, 10.0);
}

TEST(RidgeExposure, RepeatsWithTheSameSeedAndChangesFromExposureToExposure) {
    RawHost one;
    RawHost other;
    Model model = smallRidge();
    model.seed = 2;
    RawHost different{model};
    one.bringUp();
    other.bringUp();
    different.bringUp();
    const auto first = one.image(1.0, true, 1, 0, 0, 50, 50);
    EXPECT_EQ(first, other.image(1.0, true, 1, 0, 0, 50, 50));
    EXPECT_NE(first, one.image(1.0, true, 1, 0, 0, 50, 50));
    EXPECT_NE(first, different.image(1.0, true, 1, 0, 0, 50, 50));
}

TEST(RidgeExposure, FiltersChangeTheBrightness) {
    RawHost host;
    host.bringUp();
    host.wait(5.0);
    const double clear = mean(host.image(60.0, true, 1, 0, 0, kWidth, kHeight));
    host.ask(136, {2, 0}, 2);
    host.wait(5.0);
    const double red = mean(host.image(60.0, true, 1, 0, 0, kWidth, kHeight));
    const double dark = mean(host.image(60.0, false, 1, 0, 0, kWidth, kHeight));
    EXPECT_GT(clear - dark, 2.0 * (red - dark));
    EXPECT_GT(red - dark, 0.1 * (clear - dark));
}

TEST(RidgeExposure, AWheelThatTurnsDuringAnExposureCountsByTheTimeInEachFilter) {
    RawHost host;
    host.bringUp();
    host.wait(5.0);
    const double clear = mean(host.image(60.0, true, 1, 0, 0, kWidth, kHeight));
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.command(9, {1, 0});
    host.ask(136, {2, 0}, 2);
    host.wait(60.0);
    host.command(2, {1, 0});
    host.command(9, {0, 0});
    host.readOutCommand(0, 1, 0, 0, kWidth, kHeight);
    const double turned = mean(host.fetch(kPixels));
    const double red = mean(host.image(60.0, true, 1, 0, 0, kWidth, kHeight));
    EXPECT_NEAR(turned, red, 0.05 * (clear - red));
}

} // namespace tavo::virtualcamera::test
