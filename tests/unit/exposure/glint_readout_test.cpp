// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Exposures of a GLINT_CAMERA, set up in its registers.
#include "exposure/exposure_test.h"

#include <cmath>
#include <limits>

namespace tavo::test::exposure {
namespace {

class GlintReadoutTest : public ExposureTest {};

constexpr unsigned kFormat = 0x608, kMode = 0x604, kTrigger = 0x61C, kError = 0x628;
constexpr unsigned kShutter = 0x918, kGain = 0x928, kBrightness = 0x938, kGamma = 0x948;
constexpr unsigned kFrameRate = 0x968;

Rows timing(float rate, float shutter) {
    return {registerWrite(kFrameRate, rate), registerWrite(kShutter, shutter)};
}

Rows fullFormat() {
    return {registerWrite(kFormat, 0x40000000u), registerWrite(kMode, 0x40000000u)};
}

Rows trigger() {
    return {registerWrite(kTrigger, 0x80000000u)};
}

void expectExposed(const Window& window, double seconds) {
    const auto camera = idleCamera(GLINT_CAMERA);
    EXPECT_TRUE(readCCD(*camera, window, seconds));
    EXPECT_STREQ(camera->getLastError(), kUntouched);
    expectState(*camera, {.pending = true, .lockFree = false});
    CameraPeer peer(*camera);
    EXPECT_EQ(peer.readX(), window.x);
    EXPECT_EQ(peer.readY(), window.y);
    EXPECT_EQ(peer.readWidth(), window.width);
    EXPECT_EQ(peer.readHeight(), window.height);
    EXPECT_EQ(peer.readXBin(), window.binX);
    EXPECT_EQ(peer.readYBin(), window.binY);
}

struct Rate {
    double seconds;
    float rate;
};

TEST_F(GlintReadoutTest, FrameRateByTheLengthOfTheExposure) {
    for (const Rate& each :
         {Rate{0.0, 15.0f}, Rate{0.001, 15.0f}, Rate{0.066656, 15.0f}, Rate{0.066657, 7.5f},
          Rate{0.1, 7.5f}, Rate{0.133281, 7.5f}, Rate{0.133282, 3.75f}, Rate{0.266281, 3.75f},
          Rate{0.266282, 1.875f}, Rate{0.5, 1.875f}, Rate{0.532781, 1.875f}, Rate{-1.0, 15.0f},
          Rate{-std::numeric_limits<double>::infinity(), 15.0f}}) {
        SCOPED_TRACE(each.seconds);
        converse({timing(each.rate, static_cast<float>(each.seconds)), fullFormat(), trigger()});
        expectExposed({.x = 1, .y = 2, .width = 3, .height = 4}, each.seconds);
    }
}

TEST_F(GlintReadoutTest, LongestExposureSetsNeitherRateNorShutter) {
    converse({fullFormat(), trigger()});
    expectExposed({}, 0.532782);
}

TEST_F(GlintReadoutTest, NoNumberSetsNeitherRateNorShutter) {
    converse({fullFormat(), trigger()});
    expectExposed({}, std::nan(""));
}

TEST_F(GlintReadoutTest, TooLongExposureIsRefusedWithoutAText) {
    converse({});
    for (const double seconds :
         {0.53279, 0.6, 3.0, 1e30, std::numeric_limits<double>::infinity()}) {
        SCOPED_TRACE(seconds);
        const auto camera = exposingCamera(GLINT_CAMERA);
        CameraPeer(*camera).readoutPending() = true;
        CapturedTrace trace;
        expectRefused(*camera, readCCD(*camera, {}, seconds), kUntouched);
        EXPECT_TRUE(trace.contains("<- TavoCameraImpl::readCCD 00 - too long exposure"));
        expectState(*camera, {.exposing = true});
        EXPECT_EQ(CameraPeer(*camera).readWidth(), 0u);
    }
}

TEST_F(GlintReadoutTest, UnequalBinningIsRefusedFirstAndWithoutAText) {
    converse({});
    const auto camera = idleCamera(GLINT_CAMERA);
    CapturedTrace trace;
    expectRefused(*camera, readCCD(*camera, {.binX = 2}, 0.6), kUntouched);
    EXPECT_TRUE(trace.contains("<- TavoCameraImpl::readCCD 00 - unsupported binning"));
    expectState(*camera, {});
}

TEST_F(GlintReadoutTest, BinnedByTwo) {
    converse({timing(7.5f, 0.1f),
              {registerWrite(kFormat, 0u), registerWrite(kMode, 0xA0000000u)},
              trigger()});
    expectExposed({.width = 10, .height = 10, .binX = 2, .binY = 2}, 0.1);
}

TEST_F(GlintReadoutTest, OtherBinningKeepsTheFormat) {
    converse({timing(7.5f, 0.1f), trigger()});
    expectExposed({.width = 9, .height = 9, .binX = 3, .binY = 3}, 0.1);
}

TEST_F(GlintReadoutTest, BinningByThreeAtTheLongestExposureOnlyTriggers) {
    converse({trigger()});
    expectExposed({.width = 9, .height = 9, .binX = 3, .binY = 3}, 0.532782);
}

TEST_F(GlintReadoutTest, FailedWritesGoUnnoticed) {
    Rows rows = together({timing(15.0f, 0.01f), fullFormat(), trigger()});
    for (Row& row : rows)
        row = row.failing(LIBUSB_ERROR_NO_DEVICE);
    converse({rows});
    expectExposed({}, 0.01);
}

Row reading(unsigned offset, const Bytes& value) {
    return controlIn(0x7F, offset, 0xF0F0, value);
}

// Text behind the label, whatever the width of the column.
std::string valueOf(const Lines& own, const std::string& label) {
    for (const std::string& line : own) {
        if (line.rfind("    " + label + " ", 0) == 0)
            return line.substr(line.find_last_of(' ') + 1);
    }
    return "no line";
}

TEST_F(GlintReadoutTest, TraceReadsTheRegistersBack) {
    converse(
        {timing(7.5f, 0.1f),
         fullFormat(),
         trigger(),
         {reading(kFormat, {0x00, 0x00, 0x00, 0x40}), reading(kMode, {0x0A, 0, 0, 0}),
          reading(kError, {0xEF, 0xBE, 0xAD, 0xDE}), reading(kFrameRate, {0x00, 0x00, 0xF0, 0x40}),
          reading(kShutter, {0xCD, 0xCC, 0xCC, 0x3D}), reading(kGain, {0x00, 0x00, 0x80, 0xBF}),
          reading(kBrightness, {0, 0, 0, 0}),
          reading(kGamma, {0x00, 0x00, 0x00, 0x40}).failing(LIBUSB_ERROR_PIPE)}});
    CapturedTrace trace;
    expectExposed({}, 0.1);
    const Lines own = ownLines(trace);
    EXPECT_EQ(valueOf(own, "format:"), "40000000");
    EXPECT_EQ(valueOf(own, "mode:"), "0000000a");
    EXPECT_EQ(valueOf(own, "error:"), "deadbeef");
    EXPECT_EQ(valueOf(own, "framerate:"), "7.5");
    EXPECT_EQ(valueOf(own, "shutter:"), "0.1");
    EXPECT_EQ(valueOf(own, "gain:"), "-1");
    EXPECT_EQ(valueOf(own, "brightness:"), "0");
    EXPECT_EQ(valueOf(own, "gama:"), "0");
}

TEST_F(GlintReadoutTest, TracedValuesStandInOneColumn) {
    CapturedTrace trace;
    expectExposed({}, 0.1);
    std::size_t column = 0;
    int labels = 0;
    for (const std::string& line : ownLines(trace)) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("    ", 0) != 0 || colon == std::string::npos)
            continue;
        const std::size_t value = line.find_first_not_of(' ', colon + 1);
        column = labels++ == 0 ? value : column;
        EXPECT_EQ(value, column) << line;
    }
    EXPECT_EQ(labels, 8);
}

} // namespace
} // namespace tavo::test::exposure
