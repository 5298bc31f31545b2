// SPDX-License-Identifier: LGPL-2.1-or-later
#include "star_count.h"

#include <gtest/gtest.h>

using namespace tavocam;

namespace {

// A sky of 1000 +-2 with the given pixels at 5000.
Frame sky(std::size_t width, std::size_t height,
          const std::vector<std::pair<std::size_t, std::size_t>>& bright) {
    Frame frame{width, height, std::vector<std::uint16_t>(width * height)};
    for (std::size_t index = 0; index < frame.pixels.size(); ++index)
        frame.pixels[index] = static_cast<std::uint16_t>(998 + index * 7 % 5);
    for (const auto& [x, y] : bright)
        frame.pixels[y * width + x] = 5000;
    return frame;
}

std::size_t stars(const Frame& frame) {
    return countStars(frame, statisticsOf(frame.pixels));
}

} // namespace

TEST(Stars, NoneInAnEmptySky) {
    EXPECT_EQ(stars(sky(40, 30, {})), 0U);
    EXPECT_EQ(stars(Frame{}), 0U);
    EXPECT_EQ(stars(Frame{10, 10, std::vector<std::uint16_t>(100, 65535)}), 0U);
}

TEST(Stars, AreGroupsOfAtLeastThreePixels) {
    EXPECT_EQ(stars(sky(40, 30, {{5, 5}})), 0U);
    EXPECT_EQ(stars(sky(40, 30, {{5, 5}, {6, 5}})), 0U);
    EXPECT_EQ(stars(sky(40, 30, {{5, 5}, {6, 5}, {7, 5}})), 1U);
}

TEST(Stars, TouchAtCornersToo) {
    EXPECT_EQ(stars(sky(40, 30, {{5, 5}, {6, 6}, {5, 7}})), 1U);
    EXPECT_EQ(stars(sky(40, 30, {{5, 5}, {7, 5}, {9, 5}})), 0U);
}

TEST(Stars, AreCountedApart) {
    EXPECT_EQ(stars(sky(40, 30,
                        {{0, 0},
                         {1, 0},
                         {0, 1},
                         {39, 29},
                         {38, 29},
                         {39, 28},
                         {20, 10},
                         {20, 11},
                         {20, 12},
                         {30, 3}})),
              3U);
}

TEST(Stars, DoNotReachAroundTheEdges) {
    EXPECT_EQ(stars(sky(40, 30, {{38, 5}, {39, 5}, {0, 6}})), 0U);
    EXPECT_EQ(stars(sky(40, 30, {{39, 5}, {0, 6}, {1, 6}})), 0U);
}

TEST(Stars, StandOutOfTheNoiseByFiveDeviations) {
    Frame frame = sky(40, 30, {});
    const Statistics statistics = statisticsOf(frame.pixels);
    const auto threshold = static_cast<std::uint16_t>(statistics.median + 5 * statistics.deviation);
    for (const std::size_t index : {100U, 101U, 102U})
        frame.pixels[index] = threshold;
    EXPECT_EQ(countStars(frame, statistics), 0U);
    for (const std::size_t index : {100U, 101U, 102U})
        ++frame.pixels[index];
    EXPECT_EQ(countStars(frame, statistics), 1U);
}

TEST(Stars, AWholeBrightHalfIsOneGroup) {
    Frame frame = sky(1000, 1000, {});
    const Statistics statistics = statisticsOf(frame.pixels);
    std::fill(frame.pixels.begin() + 600000, frame.pixels.end(), std::uint16_t{60000});
    EXPECT_EQ(countStars(frame, statistics), 1U);
}
