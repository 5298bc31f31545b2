// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The length of a short exposure as it travels, and how long the host waits for it. Waits are cut
// to whole microseconds, so some fall one short.
#include "exposure/exposure_test.h"

#include <limits>

namespace tavo::test::exposure {
namespace {

class ExposureCodeTest : public ExposureTest {};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr Window kWindow{.x = 1, .y = 2, .width = 3, .height = 4};

std::uint8_t low(unsigned code) {
    return static_cast<std::uint8_t>(code & 0xFF);
}

std::uint8_t high(unsigned code) {
    return low(code >> 8);
}

struct OneByte {
    double seconds;
    unsigned code;
    long pause;
};

constexpr OneByte kBasin[]{
    {0, 1, 1000},
    {0.0004, 1, 1000},
    {0.0006, 1, 1000},
    {0.001, 1, 1000},
    {0.0015001, 2, 2000},
    {0.005, 5, 5000},
    {0.0094, 9, 9000},
    {0.0096, 10, 10000}, // not 10 ms by its own rule, but by what code 10
                         // means
    {0.01, 10, 10000},   // as a float it lies below the threshold
    {0.0149, 10, 10000},
    {0.015001, 11, 20000},
    {0.05, 14, 50000},
    {0.095, 18, 90000}, // half a step that the float loses
    {0.1, 19, 100000},
    {0.5, 59, 500000},
    {2.01, 210, 2010000},
    {2.05, 214, 2049999},
    {2.45, 254, 2450000},
    {2.46, 255, 2460000},
    {2.47, 255, 2460000},
    {3.0, 255, 2460000},
    {655.26, 255, 2460000},
    {655.265, 1, 1000}, // 65536
    {655.3, 3, 3000},   // 65539
    {1e30, 1, 1000},
    {-0.0001, 1, 1000},
    {-0.001, 1, 1000},
    {-0.01, 255, 2460000}, // -9
    {-1.0, 255, 2460000},
    {-655.36, 1, 1000}, // -655359.5
    {kNan, 1, 1000},
    {kInfinity, 1, 1000},
    {-kInfinity, 1, 1000},
};

TEST_F(ExposureCodeTest, Basin) {
    for (const OneByte& each : kBasin) {
        SCOPED_TRACE(each.seconds);
        const auto camera = idleCamera(BASIN_CAMERA);
        converse({command(BASIN_CAMERA, 6, {low(each.code), 1, 1, 2, 0, 3, 0, 5, 0, 7, 0, 0, 3}),
                  {pause(each.pause)}});
        EXPECT_TRUE(readCCD(*camera, kWindow, each.seconds));
    }
}

constexpr OneByte kHeron[]{
    {0, 1, 341},
    {0.0001, 1, 341},
    {0.0006826, 1, 341},
    {0.0006828, 2, 682},
    {0.1, 292, 99669},
    {0.134826667, 394, 134485}, // 395 but for the float
    {0.2551, 747, 254975},
    {0.5, 1464, 499712},
    {1.0, 2929, 999765},
    {1.3974, 4093, 1397077},
    {1.398, 4095, 1397760},
    {2.0, 4095, 1397760},
    {22.3695, 4095, 1397760}, // 65535.6: not cut to 16 bits
    {65.536, 4095, 1397760},
    {1e30, 1, 341},
    {-0.0001, 1, 341},
    {-1.0, 1, 341},
    {kNan, 1, 341},
    {kInfinity, 1, 341},
    {-kInfinity, 1, 341},
};

TEST_F(ExposureCodeTest, Heron) {
    for (const OneByte& each : kHeron) {
        SCOPED_TRACE(each.seconds);
        const auto camera = idleCamera(HERON_CAMERA);
        converse({parallelTimeout(30000),
                  spi(8, 0),
                  spi(8, 0),
                  spi(2, 0x7A0),
                  spi(5, each.code),
                  {pause(each.pause)}});
        EXPECT_TRUE(readCCD(*camera, kWindow, each.seconds));
    }
}

struct TwoUnits {
    double seconds;
    unsigned code;
    bool microseconds;
    long pause;
};

constexpr TwoUnits kTwoUnits[]{
    {0, 1, true, 1},
    {1e-7, 1, true, 1},
    {0.0000016, 2, true, 2},
    {0.000015, 15, true, 14},
    {0.0001, 100, true, 99},
    {0.001, 1000, true, 1000},
    {0.0014994, 1499, true, 1499},
    {0.04, 40000, true, 40000},
    {0.0020945, 2094, true, 2094}, // half a microsecond that the float loses
    {0.0499, 49900, true, 49900},
    {0.049999, 49999, true, 49998},
    {0.05, 50, false, 50000}, // as a float it lies above the threshold
    {0.0575, 58, false, 58000},
    {0.1, 100, false, 100000},
    {0.1485, 148, false, 148000}, // half a millisecond, likewise
    {1.0, 1000, false, 1000000},
    {1.001, 1001, false, 1001000},
    {1.025, 1025, false, 1024999},
    {2.0085, 2009, false, 2009000},
    {3.0, 3000, false, 3000000},
    {5.0, 3000, false, 3000000},
    {65.535, 3000, false, 3000000},
    {65.536, 1, false, 1000}, // 65536
    {131.072, 1, false, 1000},
    {2147483.0, 3000, false, 3000000},
    {3e6, 1, false, 1000}, // past 32 bits
    {1e30, 1, false, 1000},
    {-0.0001, 65437, true, 65436}, // -99
    {-0.001, 64537, true, 64537},
    {-0.05, 15537, true, 15536},
    {-1.0, 48577, true, 48576},
    {-1e30, 1, true, 1},
    {kNan, 1, false, 1000},
    {kInfinity, 1, false, 1000},
    {-kInfinity, 1, true, 1},
};

TEST_F(ExposureCodeTest, Ridge) {
    for (const TwoUnits& each : kTwoUnits) {
        SCOPED_TRACE(each.seconds);
        const auto camera = idleCamera(RIDGE_CAMERA);
        const std::uint8_t flags = each.microseconds ? 0x04 : 0x00;
        converse({parallelTimeout(30000),
                  commandValue(RIDGE_CAMERA, 2, 0),
                  command(RIDGE_CAMERA, 4),
                  command(RIDGE_CAMERA, 5),
                  command(RIDGE_CAMERA, 6,
                          {low(each.code), high(each.code), 1, 0, 1, 0, 1, 0, 2, 0, 3, 0, 4, 0,
                           0x43, flags}),
                  {pause(each.pause)}});
        EXPECT_TRUE(readCCD(*camera, kWindow, each.seconds));
    }
}

TEST_F(ExposureCodeTest, Lumen) {
    for (const TwoUnits& each : kTwoUnits) {
        SCOPED_TRACE(each.seconds);
        const auto camera = idleCamera(LUMEN_CAMERA);
        const std::uint8_t flags = each.microseconds ? 0x04 : 0x00;
        converse({command(LUMEN_CAMERA, 6,
                          {high(each.code), low(each.code), 0, 1, 0, 1, 0, 1, 0, 2, 0, 3, 0, 4,
                           flags, 3}),
                  {pause(each.pause)}});
        EXPECT_TRUE(readCCD(*camera, kWindow, each.seconds));
    }
}

} // namespace
} // namespace tavo::test::exposure
