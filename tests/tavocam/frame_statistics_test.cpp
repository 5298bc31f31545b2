// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame_statistics.h"

#include <vector>

#include <gtest/gtest.h>

using tavocam::statisticsOf;
using Pixels = std::vector<std::uint16_t>;

TEST(Statistics, AreThoseOfTheValues) {
    const auto statistics = statisticsOf(Pixels{5, 65535, 1, 9, 7});
    EXPECT_EQ(statistics.minimum, 1);
    EXPECT_EQ(statistics.maximum, 65535);
    EXPECT_EQ(statistics.median, 7);
    EXPECT_NEAR(statistics.deviation, 2 * 1.4826, 1e-9);
}

TEST(Statistics, TheMedianOfAnEvenCountLiesBetween) {
    const auto statistics = statisticsOf(Pixels{10, 15, 20, 21});
    EXPECT_EQ(statistics.median, 17.5);
    // Distances 7.5, 2.5, 2.5 and 3.5.
    EXPECT_NEAR(statistics.deviation, 3 * 1.4826, 1e-9);
}

TEST(Statistics, SpanAllValues) {
    const auto statistics = statisticsOf(Pixels{0, 65535});
    EXPECT_EQ(statistics.minimum, 0);
    EXPECT_EQ(statistics.maximum, 65535);
    EXPECT_EQ(statistics.median, 32767.5);
}

TEST(Statistics, AllowForTheStepsOfCoarseSamples) {
    const auto statistics = statisticsOf(Pixels{512, 512, 512, 512, 768, 256});
    EXPECT_EQ(statistics.median, 512);
    EXPECT_NEAR(statistics.deviation, 128 * 1.4826, 1e-9);
}

TEST(Statistics, OfNothingAreZero) {
    const auto statistics = statisticsOf({});
    EXPECT_EQ(statistics.maximum, 0);
    EXPECT_EQ(statistics.median, 0);
    EXPECT_EQ(statisticsOf(Pixels{0, 0, 0}).deviation, 0);
}
