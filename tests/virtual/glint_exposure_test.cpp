// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The frames of a Glint camera: what it takes to get one, and what is in it.
#include "glint_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace tavo::virtualcamera::test {

using virtualusb::Bytes;
using virtualusb::Outcome;

namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 240;
constexpr std::uint32_t kPixels = kWidth * kHeight;

double mean(const Bytes& frame) {
    return std::accumulate(frame.begin(), frame.end(), 0.0) / static_cast<double>(frame.size());
}

// A camera that would show every electron, so that means are exact; its sky is the usual one.
Model clearGlint() {
    Model model = smallGlint();
    model.sensor.readNoise = 0.5;
    model.sensor.gain = 1.0 / 256.0;
    return model;
}

struct Place {
    double x;
    double y;
};

// Centre of the light of the brightest star, in pixels of the frame.
Place brightest(const Bytes& frame, std::uint32_t width, int reach) {
    const auto peak = static_cast<int>(
        std::distance(frame.begin(), std::max_element(frame.begin(), frame.end())));
    const int columns = static_cast<int>(width);
    const int rows = static_cast<int>(frame.size()) / columns;
    const int x = peak % columns;
    const int y = peak / columns;
    const double black = mean(frame);
    double sum = 0.0;
    Place place{0.0, 0.0};
    for (int row = std::max(0, y - reach); row <= std::min(rows - 1, y + reach); ++row)
        for (int column = std::max(0, x - reach); column <= std::min(columns - 1, x + reach);
             ++column) {
            const double light =
                std::max(0.0, frame[static_cast<std::size_t>(row * columns + column)] - black);
            sum += light;
            place.x += light * (column + 0.5);
            place.y += light * (row + 0.5);
        }
    return {place.x / sum, place.y / sum};
}

// Microseconds until a whole frame is there.
std::uint64_t frameTime(GlintHost& host, double seconds, unsigned binning) {
    host.expose(seconds, binning);
    EXPECT_EQ(host.device().bulkIn(0x81, kPixels / (binning * binning)).outcome, Outcome::nothing);
    const auto wake = host.device().wakeIn();
    EXPECT_EQ(host.fetch(kPixels / (binning * binning)).size(), kPixels / (binning * binning));
    return wake.value_or(0);
}

} // namespace

TEST(GlintExposure, YieldsAFrameToPlainBytes) {
    GlintHost host{glintModel("glint-m")};
    host.bringUp();
    const auto write = [&host](std::uint16_t offset, const Bytes& data) {
        EXPECT_EQ(host.device().controlOut({0x40, 0x7F, offset, 0xF0F0, 4}, data), Outcome::done)
            << offset;
    };
    write(0x0968, {0, 0, 0xF0, 0x40});       // 7.5
    write(0x0918, {0xCD, 0xCC, 0xCC, 0x3D}); // 0.1
    write(0x0608, {0, 0, 0, 0x40});
    write(0x0604, {0, 0, 0, 0x40});
    write(0x061C, {0, 0, 0, 0x80});
    EXPECT_TRUE(host.logged("write frame rate: 7.5 frames a second"));
    EXPECT_TRUE(host.logged("write shutter: 0.1 s"));
    EXPECT_TRUE(host.logged("frames of 1280x960 pixels, bin 1x1"));
    EXPECT_TRUE(host.logged("exposes for 0.1 s at 7.5 frames a second, gain 1 dB, brightness 2 %, "
                            "gamma 1"));
    EXPECT_EQ(host.read(0x0628), 0U) << "no error";
    EXPECT_EQ(host.read(0x0608), 0x40000000U);
    EXPECT_EQ(host.read(0x0604), 0x40000000U);
    EXPECT_EQ(host.fetch(1228800).size(), 1228800U);
    EXPECT_TRUE(host.fetch(1).empty()) << "no byte is left over";
}

TEST(GlintExposure, BinsTwoByTwo) {
    GlintHost host{glintModel("glint-c")};
    host.bringUp();
    host.expose(0.01, 2);
    EXPECT_TRUE(host.logged("frames of 640x480 pixels, bin 2x2"));
    EXPECT_EQ(host.fetch(307200).size(), 307200U);
    EXPECT_TRUE(host.fetch(1).empty());
}

TEST(GlintExposure, GivesNothingWithoutATrigger) {
    GlintHost host;
    host.bringUp();
    host.write(0x0608, 0x40000000);
    host.write(0x0604, 0x40000000);
    host.wait(1.0);
    EXPECT_TRUE(host.fetch(1).empty());
    for (const std::uint32_t value : {0U, 0x00000080U, 0x40000000U, 0x80000001U, 0xFFFFFFFFU}) {
        host.write(0x061C, value);
        host.wait(1.0);
        EXPECT_TRUE(host.fetch(1).empty()) << std::hex << value;
    }
    host.write(0x061C, 0x80000000);
    EXPECT_EQ(host.fetch(kPixels).size(), kPixels);
}

TEST(GlintExposure, GivesNothingWithoutAFormatAndItsMode) {
    using Writes = std::vector<std::pair<std::uint16_t, std::uint32_t>>;
    const Writes wrong[] = {{},
                            {{0x0604, 0x40000000}},
                            {{0x0608, 0x40000000}},
                            {{0x0604, 0x40000000}, {0x0608, 0x40000000}},
                            {{0x0608, 0x40000000}, {0x0604, 0xA0000000}},
                            {{0x0608, 0x00000000}, {0x0604, 0x40000000}},
                            {{0x0608, 0x00000040}, {0x0604, 0x40000000}},
                            {{0x0608, 0x40000000}, {0x0604, 0x00000040}},
                            {{0x0604, 0xA0000000}, {0x0608, 0x00000000}}};
    for (std::size_t i = 0; i < std::size(wrong); ++i) {
        GlintHost host;
        host.bringUp();
        for (const auto& [offset, value] : wrong[i])
            host.write(offset, value);
        host.write(0x061C, 0x80000000);
        host.wait(1.0);
        EXPECT_TRUE(host.fetch(1).empty()) << i;
        EXPECT_EQ(host.read(0x0628), 0x80000000U) << i;
        EXPECT_TRUE(host.logged("no frame, neither of the modes is chosen")) << i;
        EXPECT_EQ(host.image(0.01).size(), kPixels) << i;
        EXPECT_EQ(host.read(0x0628), 0U) << i;
    }
}

TEST(GlintExposure, TellsOfAFormatOrModeItDoesNotHave) {
    GlintHost host;
    host.bringUp();
    EXPECT_EQ(host.read(0x0628), 0U);
    host.write(0x0608, 0x20000000);
    EXPECT_EQ(host.read(0x0628), 0x80000000U);
    host.write(0x0608, 0x40000000);
    EXPECT_EQ(host.read(0x0628), 0U);
    host.write(0x0604, 0xA0000000);
    EXPECT_EQ(host.read(0x0628), 0x80000000U);
    host.write(0x0604, 0x40000000);
    EXPECT_EQ(host.read(0x0628), 0U);
}

TEST(GlintExposure, KeepsItsFormatForTheNextTrigger) {
    GlintHost host;
    host.bringUp();
    EXPECT_EQ(host.image(0.01).size(), kPixels);
    host.write(0x061C, 0x80000000);
    EXPECT_EQ(host.fetch(kPixels).size(), kPixels);
    host.initialise();
    host.write(0x061C, 0x80000000);
    EXPECT_TRUE(host.fetch(1).empty()) << "an initialisation forgets it";
}

TEST(GlintExposure, TakesTheTimeOfExposureAndReadout) {
    GlintHost host;
    host.bringUp();
    const auto readout = static_cast<double>(frameTime(host, 0.00001, 1));
    EXPECT_NEAR(readout, 2000.0 + kPixels / 20.0, 100.0);
    EXPECT_NEAR(static_cast<double>(frameTime(host, 0.00001, 2)), 2000.0 + kPixels / 80.0, 100.0);
    for (const double seconds : {0.05, 0.1, 0.2, 0.5})
        EXPECT_NEAR(static_cast<double>(frameTime(host, seconds, 1)), readout + seconds * 1e6,
                    100.0);
}

TEST(GlintExposure, KnowsWhenItIsBusy) {
    GlintHost host;
    host.bringUp();
    EXPECT_EQ(host.read(0x061C), 0U);
    host.expose(0.05);
    EXPECT_EQ(host.read(0x061C), 0x80000000U);
    host.wait(0.04);
    host.write(0x061C, 0x80000000);
    EXPECT_TRUE(host.logged("still at work on a frame, ignored"));
    host.wait(0.02);
    EXPECT_EQ(host.read(0x061C), 0U) << "the second trigger has not prolonged it";
    EXPECT_EQ(host.fetch(kPixels).size(), kPixels);
    EXPECT_TRUE(host.fetch(1).empty());
}

TEST(GlintExposure, AFrameThatNoOneFetchedIsOverwritten) {
    GlintHost host;
    GlintHost other;
    for (GlintHost* each : {&host, &other}) {
        each->bringUp();
        each->expose(0.5);
        each->wait(1.0);
    }
    EXPECT_EQ(other.fetch(kPixels).size(), kPixels);
    EXPECT_EQ(host.fetch(1000).size(), 1000U) << "a part of it";
    const Bytes second = host.image(0.01);
    EXPECT_EQ(second, other.image(0.01));
    EXPECT_LT(*std::max_element(second.begin(), second.end()), 20) << "of a short exposure";
    EXPECT_TRUE(host.logged("75800 bytes that no one has fetched are dropped"));
    EXPECT_TRUE(host.fetch(1).empty());
    host.write(0x061C, 0x80000000);
    host.wait(1.0);
    host.write(0x061C, 0x80000000);
    EXPECT_EQ(host.fetch(kPixels).size(), kPixels);
    EXPECT_TRUE(host.fetch(1).empty()) << "without another format, too";
}

TEST(GlintExposure, AnotherFormatGivesUpTheFrameUnderWay) {
    GlintHost host;
    host.bringUp();
    host.expose(0.5);
    host.wait(0.1);
    EXPECT_EQ(host.image(0.01, 2).size(), kPixels / 4);
    EXPECT_TRUE(host.logged("the frame under way is given up, another format"));
    EXPECT_TRUE(host.fetch(1).empty());
}

TEST(GlintExposure, FramesAreFetchedInPartsOfAnySize) {
    GlintHost whole;
    GlintHost parts;
    whole.bringUp();
    parts.bringUp();
    const Bytes frame = whole.image(0.1);
    parts.expose(0.1);
    Bytes joined;
    for (const std::uint32_t part : {1U, 511U, 512U, 10000U, kPixels - 11024U}) {
        const Bytes bytes = parts.fetch(part);
        joined.insert(joined.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(joined, frame);
}

TEST(GlintExposure, ARequestForMoreThanTheFrameIsNotFilled) {
    GlintHost host;
    host.bringUp();
    host.expose(0.01);
    EXPECT_TRUE(host.fetch(kPixels + 1).empty());
    host.wait(1.0);
    host.device().cancelled(0x81);
    EXPECT_TRUE(host.logged("the host has given up, 76800 bytes are lost"));
    EXPECT_TRUE(host.fetch(1).empty());
    EXPECT_EQ(host.device().wakeIn(), std::nullopt);
}

TEST(GlintExposure, AnImpatientHostLosesWhatItHadOfTheFrame) {
    GlintHost host;
    host.bringUp();
    host.expose(0.01);
    host.wait(0.012 + 0.001);
    EXPECT_EQ(host.device().bulkIn(0x81, kPixels).outcome, Outcome::nothing);
    host.device().cancelled(0x81);
    EXPECT_TRUE(host.fetch(kPixels).empty()) << "a millisecond's worth of bytes is missing";
    EXPECT_EQ(host.image(0.01).size(), kPixels) << "the next frame is whole again";
}

TEST(GlintExposure, AResetDropsTheFrame) {
    GlintHost host;
    host.bringUp();
    host.expose(0.01);
    host.device().reset();
    host.wait(1.0);
    EXPECT_TRUE(host.fetch(1).empty());
}

TEST(GlintExposure, LongerExposuresAreBrighter) {
    GlintHost host{clearGlint()};
    host.bringUp();
    const double black = mean(host.image(0.00001));
    const double some = mean(host.image(0.125)) - black;
    EXPECT_NEAR((mean(host.image(0.25)) - black) / some, 2.0, 0.1);
    EXPECT_NEAR((mean(host.image(0.5)) - black) / some, 4.0, 0.2);
}

TEST(GlintExposure, WithoutRateAndShutterItUsesThoseItHas) {
    GlintHost host{clearGlint()};
    host.bringUp();
    const double black = mean(host.image(0.00001));
    const double some = mean(host.image(0.5)) - black;
    host.expose(0.532782); // a host of these cameras sets neither for the longest of exposures
    EXPECT_NEAR((mean(host.fetch(kPixels)) - black) / some, 1.0, 0.05);
}

TEST(GlintExposure, ANearlyRightHostGetsAnotherExposure) {
    GlintHost host{clearGlint()};
    host.bringUp();
    const double black = mean(host.image(0.00001));
    const double right = mean(host.image(0.5)) - black;
    // The shutter before the rate that allows for it.
    host.writeFloat(0x0968, 15.0F);
    host.writeFloat(0x0918, 0.5F);
    host.writeFloat(0x0968, 1.875F);
    host.write(0x061C, 0x80000000);
    EXPECT_LT(mean(host.fetch(kPixels)) - black, 0.2 * right);
    // The other byte order.
    host.write(0x0918, 0x0000003F);
    host.write(0x061C, 0x80000000);
    EXPECT_LT(mean(host.fetch(kPixels)) - black, 0.2 * right);
}

TEST(GlintExposure, BrightnessIsTheBlackLevel) {
    GlintHost host;
    host.bringUp();
    for (const float percent : {2.0F, 4.0F, 6.25F}) {
        host.writeFloat(0x0938, percent);
        // Half a step is lost where 16 bits become eight.
        EXPECT_NEAR(mean(host.image(0.00001)), percent * 2.56 - 0.5, 0.1) << percent;
    }
}

TEST(GlintExposure, GainAmplifiesTheLight) {
    GlintHost host{clearGlint()};
    host.bringUp();
    host.writeFloat(0x0928, 0.0F);
    const double black = mean(host.image(0.00001));
    const double plain = mean(host.image(0.1)) - black;
    host.writeFloat(0x0928, 6.0206F);
    EXPECT_NEAR((mean(host.image(0.1)) - black) / plain, 2.0, 0.1);
}

TEST(GlintExposure, GammaBendsTheValues) {
    GlintHost host;
    host.bringUp();
    host.writeFloat(0x0938, 6.25F); // 16 of 256
    host.writeFloat(0x0948, 0.5F);
    EXPECT_NEAR(mean(host.image(0.00001)), 64.0, 1.0);
    host.writeFloat(0x0948, 2.0F);
    EXPECT_NEAR(mean(host.image(0.00001)), 0.6, 0.5);
}

TEST(GlintExposure, BinningAddsUp) {
    GlintHost host{clearGlint()};
    host.bringUp();
    const double black = mean(host.image(0.00001));
    const double single = mean(host.image(0.1)) - black;
    EXPECT_NEAR((mean(host.image(0.1, 2)) - black) / single, 4.0, 0.2);
}

TEST(GlintExposure, BothFormatsShowTheSamePlaces) {
    GlintHost host;
    host.bringUp();
    const Place fine = brightest(host.image(0.5), kWidth, 6);
    const Place coarse = brightest(host.image(0.5, 2), kWidth / 2, 3);
    EXPECT_NEAR(2.0 * coarse.x, fine.x, 0.5);
    EXPECT_NEAR(2.0 * coarse.y, fine.y, 0.5);
}

TEST(GlintExposure, TheMountDrifts) {
    Model model = smallGlint();
    model.mount.driftX = 1.0;
    model.mount.driftY = -0.5;
    GlintHost host{model};
    host.bringUp();
    const Place before = brightest(host.image(0.1), kWidth, 6);
    host.wait(10.0);
    const Place after = brightest(host.image(0.1), kWidth, 6);
    const double pixel = model.sensor.arcsecondsPerColumn();
    EXPECT_NEAR(after.x - before.x, 10.1 / pixel, 0.5);
    EXPECT_NEAR(after.y - before.y, -5.05 / pixel, 0.5);
}

TEST(GlintExposure, HotterFramesHaveMoreDarkSignal) {
    const auto darkSignal = [](double ambient) {
        Model model = clearGlint();
        model.sensor.darkCurrent = 200.0;
        model.ambient = ambient;
        GlintHost host{model};
        host.bringUp();
        const double black = mean(host.image(0.00001));
        return mean(host.image(0.5)) - black;
    };
    EXPECT_GT(darkSignal(40.0), darkSignal(0.0) + 20.0);
}

TEST(GlintExposure, RepeatsWithTheSameSeedAndChangesFromFrameToFrame) {
    GlintHost one;
    GlintHost other;
    Model model = smallGlint();
    model.seed = 2;
    GlintHost different{model};
    for (GlintHost* each : {&one, &other, &different})
        each->bringUp();
    const Bytes first = one.image(0.1);
    EXPECT_EQ(first, other.image(0.1));
    EXPECT_NE(first, one.image(0.1));
    EXPECT_NE(first, different.image(0.1));
}

// The red star shows which pixels look through which colour.
TEST(GlintExposure, AColourSensorLeavesItsMosaicInTheFrame) {
    constexpr std::size_t red = 0;
    constexpr std::size_t blue = 1;
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = clearGlint();
        makeColour(model, phase);
        GlintHost host{model};
        host.bringUp();
        const Bytes frame = host.image(0.5);
        const double black = 0.02 * 256.0;
        std::array<double, 2> sums{};
        for (std::uint32_t row = 90; row < 106; ++row)
            for (std::uint32_t column = 225; column < 241; ++column) {
                const double light = frame[row * kWidth + column] - black;
                const bool redColumn = column % 2 == phase / 2;
                const bool redRow = row % 2 == phase % 2;
                if (redColumn == redRow)
                    sums[redColumn ? red : blue] += light;
            }
        EXPECT_GT(sums[red], 1.5 * sums[blue]) << phase;
        EXPECT_GT(sums[red], 100.0) << phase;
    }
}

TEST(GlintExposure, OnlyOneOfTheModelsHasAMosaic) {
    EXPECT_TRUE(glintModel("glint-c").sensor.mosaic.isColoured());
    EXPECT_FALSE(glintModel("glint-m").sensor.mosaic.isColoured());
    GlintHost colour{smallGlint("glint-c")};
    GlintHost mono{smallGlint("glint-m")};
    colour.bringUp();
    mono.bringUp();
    EXPECT_LT(mean(colour.image(0.5)), mean(mono.image(0.5)));
}

} // namespace tavo::virtualcamera::test
