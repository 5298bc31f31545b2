// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bayer.h"

#include <gtest/gtest.h>

using namespace tavocam;

namespace {

TavoCapabilities colour(int offsetX, int offsetY) {
    TavoCapabilities record{};
    record.colourType = COLOUR_BAYER;
    record.offsetX = offsetX;
    record.offsetY = offsetY;
    return record;
}

} // namespace

TEST(Bayer, NamesTheFirstFourPixels) {
    const Window whole{0, 0, 10, 10};
    EXPECT_EQ(bayerPattern(colour(0, 0), whole, {1, 1}), "RGGB");
    EXPECT_EQ(bayerPattern(colour(1, 0), whole, {1, 1}), "GRBG");
    EXPECT_EQ(bayerPattern(colour(0, 1), whole, {1, 1}), "GBRG");
    EXPECT_EQ(bayerPattern(colour(1, 1), whole, {1, 1}), "BGGR");
}

TEST(Bayer, MovesWithTheWindow) {
    EXPECT_EQ(bayerPattern(colour(0, 0), {1, 0, 4, 4}, {1, 1}), "GRBG");
    EXPECT_EQ(bayerPattern(colour(0, 0), {0, 3, 4, 4}, {1, 1}), "GBRG");
    EXPECT_EQ(bayerPattern(colour(1, 1), {1, 1, 4, 4}, {1, 1}), "RGGB");
    EXPECT_EQ(bayerPattern(colour(1, 0), {2, 4, 4, 4}, {1, 1}), "GRBG");
}

TEST(Bayer, IsAbsentWherePixelsHaveNoColour) {
    TavoCapabilities mono{};
    mono.colourType = COLOUR_MONO;
    EXPECT_EQ(bayerPattern(mono, {0, 0, 4, 4}, {1, 1}), std::nullopt);
    EXPECT_EQ(bayerPattern(colour(0, 0), {0, 0, 4, 4}, {2, 2}), std::nullopt);
    EXPECT_EQ(bayerPattern(colour(0, 0), {0, 0, 4, 4}, {1, 2}), std::nullopt);
}
