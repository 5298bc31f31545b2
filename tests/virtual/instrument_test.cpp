// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How an exposure is put together from what a telescope does meanwhile.
#include "camera/instrument.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace tavo::virtualcamera::test {

namespace {

class Bench {
public:
    explicit Bench(const MountTraits& mount, unsigned filters = 0)
        : instrument(
              {.sensor = {.width = 100, .height = 100, .pixelWidth = 6.0, .pixelHeight = 6.0},
               .hasShutter = false,
               .cooler = CoolerKind::none,
               .greatestDrop = 0.0,
               .filterCount = filters,
               .ambient = 20.0,
               .mount = mount,
               .seed = 1},
              clock) {
        instrument.startExposure();
    }

    // Asks for something every so often, as hosts do.
    void poll(double seconds, unsigned times) {
        for (unsigned i = 0; i < times; ++i) {
            clock.advance(static_cast<Microseconds>(std::llround(seconds * 1e6)));
            instrument.advance();
        }
    }

    std::vector<LightSpan> finish() { return instrument.finishExposure().light; }

    ManualClock clock;
    Instrument instrument;
};

double secondsIn(const std::vector<LightSpan>& light) {
    double sum = 0.0;
    for (const LightSpan& span : light)
        sum += span.seconds;
    return sum;
}

} // namespace

TEST(Instrument, AnEvenDriftIsOneSpanHoweverOftenItIsAskedFor) {
    Bench bench{{.driftX = 0.05, .driftY = -0.01}};
    bench.poll(0.1, 10000);
    const auto light = bench.finish();
    ASSERT_EQ(light.size(), 1U);
    EXPECT_NEAR(light[0].seconds, 1000.0, 1e-6);
    EXPECT_NEAR(light[0].from.x, 0.0, 1e-9);
    EXPECT_NEAR(light[0].to.x, 50.0, 1e-6);
    EXPECT_NEAR(light[0].to.y, -10.0, 1e-6);
}

TEST(Instrument, APeriodicErrorBendsAtItsOwnTimesHoweverOftenItIsAskedFor) {
    for (const double pause : {0.37, 3.0, 1600.0}) {
        Bench bench{{.periodicError = 10.0, .period = 320.0}};
        bench.poll(pause, static_cast<unsigned>(std::lround(1600.0 / pause)));
        const auto light = bench.finish();
        const double whole = secondsIn(light);
        EXPECT_EQ(light.size(), static_cast<std::size_t>(std::ceil(whole / 10.0))) << pause;
        double at = 0.0;
        for (const LightSpan& span : light) {
            EXPECT_NEAR(span.from.x, 10.0 * std::sin(2.0 * M_PI * at / 320.0), 1e-6) << pause;
            at += span.seconds;
            EXPECT_TRUE(&span == &light.back() || std::abs(span.seconds - 10.0) < 1e-6) << pause;
        }
    }
}

TEST(Instrument, RelaysBendTheLineOnlyWhenTheyChange) {
    Bench bench{{.guideRate = 1.0}};
    bench.poll(1.0, 10);
    for (int again = 0; again < 5; ++again) {
        bench.instrument.mount().close(Relay::right);
        bench.poll(1.0, 2);
    }
    bench.instrument.mount().releaseAll();
    bench.poll(1.0, 10);
    const auto light = bench.finish();
    ASSERT_EQ(light.size(), 3U);
    EXPECT_NEAR(light[1].seconds, 10.0, 1e-6);
    EXPECT_NEAR(light[1].to.x, 10.0, 1e-6);
    EXPECT_NEAR(light[2].seconds, 10.0, 1e-6);
}

TEST(Instrument, AnotherFilterIsAnotherSpan) {
    Bench bench{{.driftX = 0.1}, 5};
    bench.poll(1.0, 10);
    bench.instrument.wheel().moveTo(1);
    bench.poll(1.0, 10);
    EXPECT_EQ(bench.finish().size(), 2U);
}

// Which the renderer pays for, span by span.
TEST(Instrument, NoExposureHasEndlesslyManySpans) {
    Bench bench{{.guideRate = 1.0, .driftX = 0.01}};
    constexpr unsigned kPulses = 5000;
    for (unsigned pulse = 0; pulse < kPulses; ++pulse) {
        bench.instrument.mount().close(Relay::left);
        bench.poll(0.01, 1);
        bench.instrument.mount().releaseAll();
        bench.poll(0.99, 1);
    }
    const auto light = bench.finish();
    EXPECT_LE(light.size(), 1000U);
    EXPECT_GE(light.size(), 400U);
    EXPECT_NEAR(secondsIn(light), kPulses, 1e-3);
    for (std::size_t i = 1; i < light.size(); ++i) {
        EXPECT_EQ(light[i].from.x, light[i - 1].to.x);
        EXPECT_EQ(light[i].from.y, light[i - 1].to.y);
    }
    EXPECT_EQ(light.front().from.x, 0.0);
    EXPECT_EQ(light.back().to.x, bench.instrument.mount().shift().x);
}

} // namespace tavo::virtualcamera::test
