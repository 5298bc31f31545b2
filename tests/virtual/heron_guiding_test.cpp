// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::size_t kWidth = 320;
constexpr std::size_t kHeight = 240;
constexpr std::size_t kPixels = kWidth * kHeight;
constexpr double kBias = 992.0;

using Image = std::vector<std::uint16_t>;

struct Place {
    double column;
    double row;
};

// Where the light of the picture's brightest star lies, in pixels.
Place brightestStar(const Image& image, std::size_t width) {
    if (image.empty())
        return {0.0, 0.0};
    const auto peak =
        static_cast<std::size_t>(std::max_element(image.begin(), image.end()) - image.begin());
    const auto x = static_cast<std::ptrdiff_t>(peak % width);
    const auto y = static_cast<std::ptrdiff_t>(peak / width);
    const double background = median(image);
    double sum = 0.0;
    Place place{0.0, 0.0};
    for (std::ptrdiff_t row = y - 4; row <= y + 4; ++row)
        for (std::ptrdiff_t column = x - 4; column <= x + 4; ++column) {
            const auto at = row * static_cast<std::ptrdiff_t>(width) + column;
            if (at < 0 || at >= static_cast<std::ptrdiff_t>(image.size()))
                continue;
            const double light = image[static_cast<std::size_t>(at)] - background;
            sum += light;
            place.column += light * static_cast<double>(column);
            place.row += light * static_cast<double>(row);
        }
    return {place.column / sum, place.row / sum};
}

} // namespace

TEST(HeronGuiding, RelaysMoveTheField) {
    // At 7.5 arcseconds a second, for 4 seconds.
    constexpr double kMoved = 30.0 / (206.265 * 7.4 / 500.0);
    const std::array<double, 3> moves[] = {
        {0x0, 0.0, 0.0},     {0x1, kMoved, 0.0}, {0x2, -kMoved, 0.0}, {0x4, 0.0, kMoved},
        {0x8, 0.0, -kMoved}, {0x3, 0.0, 0.0},    {0xC, 0.0, 0.0},     {0x5, kMoved, kMoved}};
    for (const auto& [relays, x, y] : moves) {
        HeronHost host{singleSampledHeron()};
        host.bringUp();
        host.setBinning(1, 1);
        const auto place = [&host] {
            host.expose(0.3);
            host.readOut();
            return brightestStar(host.fetchWords(kPixels), kWidth);
        };
        const Place before = place();
        host.write(2, static_cast<unsigned>(relays));
        host.wait(4.0);
        host.write(2, 0);
        const Place after = place();
        EXPECT_NEAR(after.column - before.column, x, 0.3) << relays;
        EXPECT_NEAR(after.row - before.row, y, 0.3) << relays;
    }
}

TEST(HeronGuiding, RelaysDoNotEndAnExposure) {
    HeronHost host;
    host.bringUp();
    host.expose(30.0);
    host.write(2, 0x1);
    host.wait(2.0);
    host.write(2, 0x0);
    host.wait(28.0);
    host.setBinning(1, 1);
    host.readOut();
    const Image guided = host.fetchDifferences(kPixels);
    ASSERT_EQ(guided.size(), kPixels);
    const Image still = host.frame(60.0, kPixels);
    EXPECT_NEAR((median(guided) - kBias) / (median(still) - kBias), 1.0, 0.05);
    EXPECT_GT(difference(guided, still), 50.0) << "the stars have moved";
}

TEST(HeronGuiding, RelaysStayClosedWhileTheExposureIsControlledAndOpenWithAReset) {
    HeronHost host{singleSampledHeron()};
    host.bringUp();
    const auto place = [&host](unsigned relays) {
        host.setBinning(1, 1);
        host.expose(0.3, relays);
        host.readOut(relays);
        return brightestStar(host.fetchWords(kPixels), kWidth);
    };
    const Place before = place(0x0);
    place(0x4);
    host.wait(4.0);
    host.bringUp();
    const Place after = place(0x0);
    // At 7.5 arcseconds a second, for 4 seconds and a little more.
    EXPECT_GT(after.row - before.row, 30.0 / (206.265 * 7.4 / 500.0));
    EXPECT_NEAR(place(0x0).row, after.row, 0.5);
    host.write(2, 0x4);
    host.wait(1.0);
    host.bringUp();
    const Place stopped = place(0x0);
    host.wait(4.0);
    EXPECT_NEAR(place(0x0).row, stopped.row, 0.5) << "the reset has opened the relay";
}

TEST(HeronGuiding, NeedsAGuidePort) {
    Model model = singleSampledHeron();
    model.hasGuidePort = false;
    HeronHost host{model};
    host.bringUp();
    host.setBinning(1, 1);
    const auto place = [&host] {
        host.expose(0.3);
        host.readOut();
        return brightestStar(host.fetchWords(kPixels), kWidth);
    };
    const Place before = place();
    host.write(2, 0x1);
    host.wait(4.0);
    host.write(2, 0x0);
    EXPECT_NEAR(place().column, before.column, 0.3);
    EXPECT_TRUE(host.logged("no guide port"));
}

} // namespace tavo::virtualcamera::test
