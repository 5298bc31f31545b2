// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The mount by itself, what its faults do to pictures, and the options that set them.
#include "camera/mount.h"

#include "camera/catalogue.h"
#include "camera/instrument.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavo::virtualcamera::test {

namespace {

constexpr unsigned kWidth = 200;
constexpr unsigned kHeight = 160;
constexpr double kArcsecondsPerPixel = 206.265 * 6.0 / Sensor::kFocalLength;

// A telescope over a small sensor whose field holds one bright star, near the middle.
class Telescope {
public:
    explicit Telescope(const MountTraits& traits)
        : instrument({.sensor = {.width = kWidth,
                                 .height = kHeight,
                                 .pixelWidth = 6.0,
                                 .pixelHeight = 6.0,
                                 .gain = 10.0,
                                 .readNoise = 1.0,
                                 .fullWell = 1e9,
                                 .darkCurrent = 0.0},
                      .hasShutter = false,
                      .cooler = CoolerKind::none,
                      .greatestDrop = 0.0,
                      .filterCount = 0,
                      .ambient = -100.0, // no hot pixels
                      .mount = traits,
                      .seed = kSeed},
                     clock) {}

    void wait(double seconds) {
        clock.advance(static_cast<Microseconds>(std::llround(seconds * 1e6)));
        instrument.advance();
    }

    Mount& mount() { return instrument.mount(); }
    void start() { instrument.startExposure(); }

    // The light of the star and how it lies, in pixels.
    struct Spot {
        double column;
        double row;
        double width; // standard deviations
        double height;
    };
    Spot finish() { return measure(instrument.finishExposure()); }
    Spot expose(double seconds) {
        start();
        wait(seconds);
        return finish();
    }
    Spot exposeTimed(double seconds) { return measure(instrument.timedExposure(seconds, true)); }

private:
    static constexpr std::uint64_t kSeed = 166;

    Spot measure(const Exposure& exposure);

    ManualClock clock;
    Instrument instrument;
};

Telescope::Spot Telescope::measure(const Exposure& exposure) {
    Frame frame = instrument.render(exposure, {0, 0, kWidth, kHeight});
    std::vector<std::uint16_t> row(kWidth);
    std::vector<double> light;
    for (unsigned y = 0; y < kHeight; ++y) {
        frame.nextRow(row);
        light.insert(light.end(), row.begin(), row.end());
    }
    auto sorted = light;
    std::sort(sorted.begin(), sorted.end());
    const double sky = sorted[sorted.size() / 2];
    // A tenth of the brightest pixel: leaves out the noise and the faint stars.
    const double threshold = sky + 0.1 * (sorted.back() - sky);
    double sum = 0.0;
    Spot spot{};
    for (int pass = 0; pass < 2; ++pass) {
        Spot moments{};
        sum = 0.0;
        for (std::size_t i = 0; i < light.size(); ++i) {
            if (light[i] < threshold)
                continue;
            const double weight = light[i] - sky;
            const double column = static_cast<double>(i % kWidth) + 0.5 - spot.column;
            const double line = static_cast<double>(i / kWidth) + 0.5 - spot.row;
            sum += weight;
            moments.column += weight * column;
            moments.row += weight * line;
            moments.width += weight * column * column;
            moments.height += weight * line * line;
        }
        spot = {spot.column + moments.column / sum, spot.row + moments.row / sum,
                std::sqrt(moments.width / sum), std::sqrt(moments.height / sum)};
    }
    return spot;
}

std::string complaint(const std::string& name, const std::string& value) {
    try {
        return makeCamera("ridge-c", {{name, value}}, 1.0, {}) ? "" : "no camera";
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
}

Pointing shiftAt(Mount& mount, double seconds) {
    mount.advance(static_cast<Microseconds>(std::llround(seconds * 1e6)));
    return mount.shift();
}

} // namespace

TEST(Mount, StandsStillWithoutFaults) {
    Mount mount;
    const Pointing shift = shiftAt(mount, 3600.0);
    EXPECT_EQ(shift.x, 0.0);
    EXPECT_EQ(shift.y, 0.0);
    EXPECT_EQ(mount.nextBend(), std::numeric_limits<Microseconds>::max());
}

TEST(Mount, DriftsEvenly) {
    Mount mount{{.driftX = 0.5, .driftY = -0.25}};
    for (const double seconds : {1.0, 10.0, 3600.0}) {
        const Pointing ahead = mount.shiftAfter(seconds);
        EXPECT_NEAR(ahead.x, 0.5 * seconds, 1e-6);
        EXPECT_NEAR(ahead.y, -0.25 * seconds, 1e-6);
    }
    double before = 0.0;
    for (const double seconds : {1.0, 10.0, 3600.0}) {
        const Pointing shift = shiftAt(mount, seconds);
        EXPECT_NEAR(shift.x, 0.5 * seconds, 1e-6);
        EXPECT_NEAR(shift.y, -0.25 * seconds, 1e-6);
        EXPECT_GT(shift.x, before);
        before = shift.x;
    }
}

TEST(Mount, PeriodicErrorIsASineAlongX) {
    constexpr double period = 400.0;
    Mount mount{{.periodicError = 12.0, .period = period}};
    const std::pair<double, double> expected[] = {{0.0, 0.0},   {1.0 / 12.0, 6.0}, {0.25, 12.0},
                                                  {0.5, 0.0},   {0.75, -12.0},     {1.0, 0.0},
                                                  {1.25, 12.0}, {100.75, -12.0}};
    for (const auto& [turns, error] : expected) {
        const Pointing shift = shiftAt(mount, turns * period);
        EXPECT_NEAR(shift.x, error, 1e-6) << turns;
        EXPECT_EQ(shift.y, 0.0) << turns;
    }
}

TEST(Mount, FaultsAddUp) {
    Mount mount{{.guideRate = 2.0, .driftX = 0.1, .periodicError = 5.0, .period = 100.0}};
    mount.close(Relay::right);
    EXPECT_NEAR(shiftAt(mount, 25.0).x, 25.0 * 2.0 + 25.0 * 0.1 + 5.0, 1e-6);
}

TEST(Mount, GuidesAtItsRateWhileARelayIsClosed) {
    for (const double rate : {0.0, 1.0, 7.5, 60.0}) {
        Mount mount{{.guideRate = rate}};
        mount.close(Relay::left);
        mount.close(Relay::down);
        EXPECT_NEAR(shiftAt(mount, 2.0).x, -2.0 * rate, 1e-6);
        mount.releaseAll();
        EXPECT_NEAR(shiftAt(mount, 5.0).x, -2.0 * rate, 1e-6);
        EXPECT_NEAR(mount.shift().y, -2.0 * rate, 1e-6);
    }
}

// Between bends the path is drawn as a straight line, which must not leave it visibly.
TEST(Mount, BendsOftenEnoughForStraightLines) {
    Mount mount{{.periodicError = 10.0, .period = 320.0}};
    for (int line = 0; line < 40; ++line) {
        const Pointing from = mount.shift();
        const Microseconds start = static_cast<Microseconds>(line) * 10 * kSecond;
        ASSERT_EQ(mount.nextBend(), start + 10 * kSecond);
        const Pointing middle = mount.shiftAfter(5.0);
        mount.advance(mount.nextBend());
        EXPECT_NEAR(0.5 * (from.x + mount.shift().x), middle.x, 0.01 * 10.0);
    }
}

TEST(MountedTelescope, StarsArePointsWithoutFaults) {
    Telescope telescope{{}};
    const auto first = telescope.expose(60.0);
    const auto later = telescope.expose(60.0);
    EXPECT_NEAR(first.width, first.height, 0.1);
    EXPECT_NEAR(first.column, later.column, 0.05);
    EXPECT_NEAR(first.row, later.row, 0.05);
}

TEST(MountedTelescope, DriftMovesTheStarsFromPictureToPicture) {
    Telescope telescope{{.driftX = 0.2, .driftY = 0.1}};
    const auto before = telescope.expose(10.0);
    telescope.wait(190.0);
    const auto after = telescope.expose(10.0);
    EXPECT_NEAR((after.column - before.column) * kArcsecondsPerPixel, 40.0, 0.5);
    EXPECT_NEAR((after.row - before.row) * kArcsecondsPerPixel, 20.0, 0.5);
}

TEST(MountedTelescope, StarsTrailAlongTheDriftInLongExposures) {
    Telescope telescope{{.driftX = 0.5}};
    const auto brief = telescope.expose(2.0);
    const auto tall = telescope.expose(100.0);
    EXPECT_NEAR(brief.width, brief.height, 0.1);
    // A line of 50 arcseconds has its deviation divided by the root of 12.
    const double trail = 50.0 / kArcsecondsPerPixel / std::sqrt(12.0);
    EXPECT_NEAR(tall.width, std::hypot(trail, brief.width), 0.5);
    EXPECT_NEAR(tall.height, brief.height, 0.2);
}

TEST(MountedTelescope, StarsTrailInExposuresThatTheCameraTimes) {
    Telescope telescope{{.driftY = 10.0}};
    const auto spot = telescope.exposeTimed(3.0);
    EXPECT_GT(spot.height, spot.width + 1.0);
}

TEST(MountedTelescope, PeriodicErrorSwingsTheStarsDuringATurnOfTheWorm) {
    constexpr double amplitude = 30.0;
    Telescope telescope{{.periodicError = amplitude, .period = 100.0}};
    const auto still = Telescope{{}}.expose(100.0);
    const auto turn = telescope.expose(100.0);
    // As a sine is away from its middle most of the time.
    const double swing = amplitude / kArcsecondsPerPixel / std::sqrt(2.0);
    EXPECT_NEAR(turn.width, std::hypot(swing, still.width), 0.6);
    EXPECT_NEAR(turn.height, still.height, 0.2);
    EXPECT_NEAR(turn.column, still.column, 0.5);
    telescope.wait(24.5);
    const auto crest = telescope.expose(1.0);
    EXPECT_NEAR((crest.column - still.column) * kArcsecondsPerPixel, amplitude, 0.5);
}

// As a guider does it: short pictures, and a relay closed as long as the star is away by.
TEST(MountedTelescope, GuidingHoldsTheStarAgainstItsDrift) {
    constexpr double rate = 7.5;
    Telescope telescope{{.guideRate = rate, .driftX = 0.5, .driftY = -0.3}};
    const auto wanted = telescope.exposeTimed(1.0);
    telescope.start();
    for (int correction = 0; correction < 50; ++correction) {
        telescope.wait(2.0 - (0.5 + 0.3) * 2.0 / rate);
        telescope.mount().close(Relay::left);
        telescope.wait(0.5 * 2.0 / rate);
        telescope.mount().releaseAll();
        telescope.mount().close(Relay::up);
        telescope.wait(0.3 * 2.0 / rate);
        telescope.mount().releaseAll();
    }
    const auto held = telescope.finish();
    EXPECT_NEAR(held.column, wanted.column, 0.5);
    EXPECT_NEAR(held.row, wanted.row, 0.5);
    EXPECT_NEAR(held.width, wanted.width, 0.2);
    EXPECT_NEAR(held.height, wanted.height, 0.2);
    const auto freed = telescope.expose(100.0);
    EXPECT_GT(freed.width, 4.0) << "and without it the star trails";
    EXPECT_GT(freed.height, 2.5);
}

TEST(MountOptions, AreTakenUpToTheirLimits) {
    const std::pair<const char*, std::vector<const char*>> options[] = {
        {"guide-rate", {"0", "7.5", "60"}},
        {"drift-x", {"-10", "0", "0.05", "10"}},
        {"drift-y", {"-10", "0", "0.05", "10"}},
        {"periodic-error", {"0", "12.5", "600"}},
        {"period", {"1", "480", "86400"}}};
    for (const auto& [name, values] : options)
        for (const char* value : values)
            EXPECT_EQ(complaint(name, value), "") << name << "=" << value;
}

TEST(MountOptions, AreRefusedBeyondThemWithWhatIsAccepted) {
    const std::pair<const char*, std::vector<const char*>> options[] = {
        {"guide-rate", {"-0.1", "60.1"}},
        {"drift-x", {"-10.1", "10.1"}},
        {"drift-y", {"-10.1", "10.1"}},
        {"periodic-error", {"-1", "600.1"}},
        {"period", {"0", "0.9", "86401", "-480"}}};
    for (const auto& [name, values] : options) {
        for (const char* value : values)
            EXPECT_NE(complaint(name, value), "") << name << "=" << value;
        for (const char* value : {"", "nan", "inf", "1,5", "5s", "fast"})
            EXPECT_NE(complaint(name, value), "") << name << "=" << value;
    }
    EXPECT_EQ(complaint("drift-x", "11"),
              "option drift-x=11 is not accepted: drift-x takes a number from -10 to 10");
    EXPECT_EQ(complaint("period", "0"),
              "option period=0 is not accepted: period takes a number from 1 to 86400");
}

} // namespace tavo::virtualcamera::test
