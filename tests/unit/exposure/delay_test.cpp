// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/exposure_test.h"

#include <cstdint>
#include <limits>
#include <utility>

namespace tavo::test::exposure {
namespace {

class DelayTest : public ExposureTest {};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr unsigned kOutOfRange = 0x80000000;

struct Case {
    double seconds;
    unsigned microseconds;
};

void expectDelays(TavoCamera& camera, std::initializer_list<Case> cases) {
    for (const Case& each : cases)
        EXPECT_EQ(camera.delay(each.seconds), each.microseconds) << each.seconds << " s";
}

TEST_F(DelayTest, WholeTimeWhereTheReadoutAddsNothing) {
    for (const CAMERA_TYPE type : {RIDGE_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        SCOPED_TRACE(familyName(type));
        const auto camera = idleCamera(type);
        expectDelays(*camera, {{0, 0},
                               {0.5, 500000},
                               {0.0000019, 1},
                               {2147.483647, 2147483647},
                               {-1.0, 0xFFF0BDC0},
                               {-0.0000009, 0}});
    }
}

TEST_F(DelayTest, TwoSecondsLessOnBasin) {
    const auto camera = idleCamera(BASIN_CAMERA);
    expectDelays(*camera, {{0, 0},
                           {2.0, 0},
                           {2.000001, 1},
                           {2.5, 500000},
                           {2147.483647, 2145483647},
                           {-1.0, 0xFFF0BDC0 - 2000000}});
}

TEST_F(DelayTest, ReadoutDelayLessOnHeron) {
    const auto camera = idleCamera(HERON_CAMERA);
    expectDelays(*camera, {{0, 0}, {0.1, 0}, {0.1000011, 1}, {1.0, 900000}});
    camera->setParam(QUICKER_READ_CCD_DELAY, 250000);
    expectDelays(*camera, {{0.25, 0}, {1.0, 750000}});
}

TEST_F(DelayTest, NegativeReadoutDelayAddsOnHeron) {
    const auto camera = idleCamera(HERON_CAMERA);
    camera->setParam(QUICKER_READ_CCD_DELAY, -5);
    expectDelays(*camera, {{0, 5}, {1.0, 1000005}});
}

TEST_F(DelayTest, ReadoutDelayBeyond32BitsLeavesNothingOnHeron) {
    // What no long of a 32-bit computer could ask for.
    constexpr std::int64_t kDelay = 0x100000000;
    if constexpr (std::in_range<long>(kDelay)) {
        const auto camera = idleCamera(HERON_CAMERA);
        camera->setParam(QUICKER_READ_CCD_DELAY, static_cast<long>(kDelay));
        expectDelays(*camera, {{1.0, 0}, {3000.0, 0}});
    }
}

TEST_F(DelayTest, ClearTimeLessOnLumen) {
    const auto camera = idleCamera(LUMEN_CAMERA);
    CameraPeer(*camera).vregClearTime() = 300000;
    expectDelays(*camera, {{0, 0}, {0.3, 0}, {0.3000011, 1}, {1.0, 700000}});
}

TEST_F(DelayTest, OutOfRangeIsTheTopBitReadAsUnsigned) {
    for (const double seconds :
         {2147.483648, 5000.0, -2147.483649, 1e300, kNan, kInfinity, -kInfinity}) {
        SCOPED_TRACE(seconds);
        EXPECT_EQ(idleCamera(RIDGE_CAMERA)->delay(seconds), kOutOfRange);
        EXPECT_EQ(idleCamera(GLINT_CAMERA)->delay(seconds), kOutOfRange);
        EXPECT_EQ(idleCamera(BASIN_CAMERA)->delay(seconds), kOutOfRange - 2000000);
        EXPECT_EQ(idleCamera(HERON_CAMERA)->delay(seconds), kOutOfRange - 100000);
    }
}

TEST_F(DelayTest, AsksNothingOfTheCameraAndLeavesItAsItIs) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = pendingCamera(type);
        converse({});
        CapturedTrace trace;
        camera->delay(1.0);
        EXPECT_EQ(trace.text(), "");
        EXPECT_STREQ(camera->getLastError(), kUntouched);
        expectState(*camera, {.pending = true, .lockFree = false});
    }
}

} // namespace
} // namespace tavo::test::exposure
