// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen_host.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::uint8_t kPreview = 0x01;

Bytes readBlock(LumenHost& host) {
    Bytes block{1};
    for (int tries = 0; block[0] == 1 && tries < 100; ++tries)
        block = host.send(141, {}, 16).value_or(Bytes{1});
    return block;
}

bool writeBlock(LumenHost& host, const Bytes& block, std::uint8_t word = 25) {
    Bytes payload{0, word};
    payload.insert(payload.end(), block.begin(), block.end());
    return host.send(140, payload).has_value();
}

// `half`: 0 for normal, 8 for preview.
bool setGain(LumenHost& host, std::size_t half, std::uint8_t gain, unsigned rawOffset) {
    Bytes block = readBlock(host);
    block[half + 5] = gain;
    block[half + 6] = static_cast<std::uint8_t>(rawOffset >> 8);
    block[half + 7] = static_cast<std::uint8_t>(rawOffset & 0xFF);
    return writeBlock(host, block);
}

double level(const std::vector<std::uint16_t>& words) {
    auto sorted = words;
    std::sort(sorted.begin(), sorted.end());
    return sorted.empty() ? 0.0 : sorted[sorted.size() / 2];
}

} // namespace

TEST(LumenGain, ComesInABlockThatIsNotReadyAtFirst) {
    LumenHost host;
    host.bringUp();
    const auto first = host.send(141, {}, 16);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->front(), 1);
    EXPECT_EQ(readBlock(host), (Bytes{0, 88, 0, 0xC8, 0, 20, 0, 24, 0, 88, 0, 0xD8, 0, 28, 1, 16}));
    EXPECT_EQ(host.send(141, {}, 16)->front(), 0) << "and stays ready";
}

TEST(LumenGain, KeepsWhatIsWritten) {
    LumenHost host;
    host.bringUp();
    const Bytes block = readBlock(host);
    // Gain 10 and offset 100: 412 from the other end.
    ASSERT_TRUE(host.send(140, {0, 25, block[0], block[1], block[2], block[3], 0, 10, 0x01, 0x9C, 0,
                                88, 0, 0xD8, 0, 28, 0x01, 0x10}));
    EXPECT_EQ(host.send(141, {}, 16)->front(), 1) << "not ready again";
    EXPECT_EQ(readBlock(host),
              (Bytes{0, 88, 0, 0xC8, 0, 10, 0x01, 0x9C, 0, 88, 0, 0xD8, 0, 28, 0x01, 0x10}));
    host.startApplication();
    EXPECT_EQ(readBlock(host)[5], 20) << "until the application starts anew";
}

TEST(LumenGain, RefusesBlocksThatAreNotItsOwn) {
    LumenHost host;
    host.bringUp();
    EXPECT_FALSE(writeBlock(host, Bytes(16))) << "not read yet";
    const Bytes block = readBlock(host);
    EXPECT_FALSE(writeBlock(host, block, 24));
    for (const std::size_t place : {0U, 1U, 2U, 3U, 4U, 8U, 9U, 10U, 11U, 12U}) {
        Bytes wrong = block;
        wrong[place] = static_cast<std::uint8_t>(wrong[place] + 1);
        EXPECT_FALSE(writeBlock(host, wrong)) << place;
    }
    for (const std::size_t half : {0U, 8U}) {
        EXPECT_FALSE(setGain(host, half, 64, 0));
        EXPECT_FALSE(setGain(host, half, 0, 513));
        EXPECT_TRUE(setGain(host, half, 63, 512));
    }
}

TEST(LumenGain, MakesPicturesBrighter) {
    LumenHost host;
    host.bringUp();
    const double usual = level(host.picture(60.0)) - 1000.0;
    ASSERT_TRUE(setGain(host, 0, 63, 24));
    EXPECT_NEAR((level(host.picture(60.0)) - 1000.0) / usual, 5.8 / (5.8 / (1 + 4.8 * 43 / 63)),
                0.1);
    ASSERT_TRUE(setGain(host, 0, 0, 24));
    EXPECT_NEAR((level(host.picture(60.0)) - 1000.0) / usual, 1 / (5.8 / (1 + 4.8 * 43 / 63)),
                0.03);
}

TEST(LumenGain, OffsetsShiftTheBias) {
    LumenHost host;
    host.bringUp();
    // Steps of 8 units around 24; from 256 on they count downwards.
    for (const auto& [raw, bias] : {std::pair{24U, 1000.0},
                                    {0U, 808.0},
                                    {255U, 2848.0},
                                    {256U, 808.0},
                                    {300U, 456.0},
                                    {512U, 0.0}}) {
        ASSERT_TRUE(setGain(host, 0, 20, raw));
        EXPECT_NEAR(level(host.timedPicture(1)), bias, 3.0) << raw;
    }
}

TEST(LumenGain, PreviewsHaveTheirOwnPair) {
    LumenHost host;
    host.bringUp();
    ASSERT_TRUE(setGain(host, 8, 20, 124));
    EXPECT_NEAR(level(host.timedPicture(1, {.flags = kPreview})), 1800.0, 3.0);
    EXPECT_NEAR(level(host.timedPicture(1)), 1000.0, 3.0);
    ASSERT_TRUE(setGain(host, 0, 20, 74));
    EXPECT_NEAR(level(host.timedPicture(1, {.flags = kPreview})), 1800.0, 3.0);
    EXPECT_NEAR(level(host.timedPicture(1)), 1400.0, 3.0);
}

TEST(LumenGain, PreviewsHaveTheirOwnAmplification) {
    LumenHost host;
    host.bringUp();
    const auto light = [&host](std::uint8_t gain) {
        EXPECT_TRUE(setGain(host, 8, gain, 24));
        return level(host.picture(60.0, {.flags = kPreview})) - 1000.0;
    };
    EXPECT_NEAR(light(63) / light(0), 5.8, 0.2);
}

} // namespace tavo::virtualcamera::test
