// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The pictures that come through driver, libusb and virtual camera show what they should.
#include "camera_test.h"

#include <cmath>

class SkyTest : public CameraTest {
protected:
    void SetUp() override { ASSERT_TRUE(camera->setDarkFrameMode(false)); }
};

TEST_F(SkyTest, FullFrameShowsStars) {
    EXPECT_GE(brightestStars(exposeTimed(2.0, fullFrame()), 100).size(), 20u);
}

TEST_F(SkyTest, DarkFrameShowsNone) {
    ASSERT_TRUE(camera->setDarkFrameMode(true));
    EXPECT_TRUE(brightestStars(exposeLong(0.5, fullFrame()), 100).empty());
    EXPECT_TRUE(brightestStars(exposeTimed(2.0, fullFrame()), 100).empty());
}

TEST_F(SkyTest, LongerExposureIsBrighter) {
    const auto brief = brightestStars(exposeTimed(0.5, fullFrame()), 40);
    const auto lasting = brightestStars(exposeTimed(2.0, fullFrame()), 400);
    unsigned compared = 0;
    for (const Star& star : brief)
        if (const Star same = nearestStar(lasting, star.x, star.y, 1.5); same.light > 0) {
            EXPECT_NEAR(same.light / star.light, 4.0, 1.2);
            ++compared;
        }
    EXPECT_GE(compared, 8u);
}

// Dark current alone makes the background rise, too: stars show that the shutter was open.
TEST_F(SkyTest, LongExposureCollectsWhileTheHostWaits) {
    const Frame brief = exposeLong(0.2, fullFrame()), lasting = exposeLong(1.0, fullFrame());
    EXPECT_GT(background(lasting), background(brief));
    EXPECT_GE(brightestStars(lasting, 100).size(), 20u);
}

TEST_F(SkyTest, WindowIsTheSamePieceOfSky) {
    const Window window{200, 160, 600, 400, 1};
    const auto whole = brightestStars(exposeTimed(2.0, fullFrame()), 400);
    constexpr double kSteady = 4000; // digital units; fainter centroids wander with the noise
    auto part = brightestStars(exposeTimed(2.0, window), 15);
    std::erase_if(part, [](const Star& star) { return star.light < kSteady; });
    ASSERT_GE(part.size(), 3u);
    for (const Star& star : part)
        EXPECT_GT(nearestStar(whole, star.x + window.x, star.y + window.y, 0.5).light, 0.0)
            << star.x << ", " << star.y;
}

TEST_F(SkyTest, BinningAddsUp) {
    const auto fine = brightestStars(exposeTimed(1.0, fullFrame(1)), 400);
    const auto coarse = brightestStars(exposeTimed(1.0, fullFrame(2)), 15);
    ASSERT_GE(coarse.size(), 5u);
    unsigned matched = 0;
    for (const Star& star : coarse) {
        const Star same = nearestStar(fine, 2 * star.x + 0.5, 2 * star.y + 0.5, 1.0);
        if (same.light <= 0)
            continue;
        ++matched;
        EXPECT_NEAR(star.light / same.light, 1.0, 0.25);
    }
    EXPECT_GE(matched, 5u);
}

TEST_F(SkyTest, FilterTakesLight) {
    ASSERT_TRUE(caps.hasFilterWheel);
    selectFilter(0);
    const double clear = background(exposeTimed(2.0, fullFrame()));
    selectFilter(2);
    const double filtered = background(exposeTimed(2.0, fullFrame()));
    selectFilter(0);
    EXPECT_LT(filtered, clear);
}

TEST_F(SkyTest, GuidePulseMovesTheField) {
    ASSERT_TRUE(caps.hasGuidePort);
    const auto before = brightestStars(exposeTimed(1.0, fullFrame()), 30);
    ASSERT_TRUE(camera->setGuideRelays(0x01));
    const Frame meanwhile = exposeTimed(0.3, {0, 0, 64, 64, 1});
    ASSERT_TRUE(camera->setGuideRelays(0));
    const auto after = brightestStars(exposeTimed(1.0, fullFrame()), 30);
    unsigned moved = 0, compared = 0;
    for (const Star& star : before) {
        const Star same = nearestStar(after, star.x, star.y, 60);
        if (same.light <= 0)
            continue;
        ++compared;
        if (std::hypot(same.x - star.x, same.y - star.y) > 0.5)
            ++moved;
    }
    EXPECT_GE(compared, 8u);
    EXPECT_GT(2 * moved, compared);
}

TEST_F(SkyTest, CooledFrameIsCleaner) {
    ASSERT_EQ(caps.coolerType, COOLER_SETPOINT);
    ASSERT_TRUE(camera->setDarkFrameMode(true));
    const Frame warm = exposeLong(1.0, fullFrame());
    ASSERT_TRUE(camera->setCooling(-10.0f)) << camera->getLastError();
    waitForTemperature(-10.0f);
    const Frame cold = exposeLong(1.0, fullFrame());
    EXPECT_LT(background(cold), background(warm));
    EXPECT_LT(noise(cold), noise(warm));

    COOLING_STATE state = COOLING_INACTIVE;
    float target = 0, power = 0;
    ASSERT_TRUE(camera->getCoolingStatus(&state, &target, &power));
    EXPECT_EQ(state, COOLING_SETPOINT);
    EXPECT_NEAR(target, -10.0, 0.1);
    EXPECT_GT(power, 0.0f);
    EXPECT_LE(power, 100.0f);
    ASSERT_TRUE(camera->initiateWarmUp());
    ASSERT_TRUE(camera->getCoolingStatus(&state, nullptr, nullptr));
    EXPECT_NE(state, COOLING_SETPOINT);
}
