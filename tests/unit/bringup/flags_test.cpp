// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The names of the description's flag bits in the trace of open.
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <map>

namespace tavo::test {
namespace {

using Names = std::map<unsigned, std::string>; // in ascending bit order

const Names kBasinNames{{0x0001, " FIFO"},    {0x0002, " INTERLACED"}, {0x0004, " EXT_TRIGGER"},
                        {0x0008, " PREVIEW"}, {0x0010, " SUBSAMPLE"},  {0x0040, " OVERLAP"}};

const Names kRidgeNames{{0x0001, " FIFO"},        {0x0002, " INTERLACED"},
                        {0x0004, " EXT_TRIGGER"}, {0x0008, " PREVIEW"},
                        {0x0010, " SUBSAMPLE"},   {0x0040, " OVERLAP"},
                        {0x0080, " HAS_SHUTTER"}, {0x0100, " HAS_GUIDE_PORT"},
                        {0x0200, " HAS_GPIO"},    {0x1000, " HAS_FILTER_WHEEL"}};

const Names kLumenNames{
    {0x0002, " INTERLACED"},     {0x0004, " EXT_TRIGGER"},     {0x0008, " PREVIEW"},
    {0x0010, " SUBSAMPLE"},      {0x0040, " OVERLAP"},         {0x0080, " HAS_SHUTTER"},
    {0x0100, " HAS_GUIDE_PORT"}, {0x0200, " HAS_GPIO"},        {0x0400, " HAS_WINDOW_HEATER"},
    {0x0800, " HAS_8_BIT_MODE"}, {0x1000, " HAS_FILTER_WHEEL"}};

const Names kHeronNames{{0x01, " HAS_GUIDE_PORT"}, {0x02, " NO_FAST_USB"}, {0x04, " PC_CDS"}};

// The guide port's bit is printed when it is clear; a HERON_CAMERA has no such bit.
std::string flagsLine(const Names& names, unsigned flags) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%x", flags);
    std::string line = std::string("    flags: ") + number + " ";
    for (const auto& [bit, name] : names) {
        const bool inverted = bit == 0x0100;
        if (((flags & bit) != 0) != inverted)
            line += name;
    }
    return line;
}

class FlagNames : public UnitTest {
protected:
    static void expectLine(CAMERA_TYPE type, const Names& names, unsigned flags) {
        CameraScript script = healthyCamera(type, {.flags = flags});
        usb().reset();
        usb().respondWith(&script);
        CapturedTrace trace;
        ASSERT_TRUE(closedCamera(type)->open());
        const std::string line = flagsLine(names, flags);
        EXPECT_TRUE(trace.contains(line)) << familyName(type) << line;
    }

    static void expectEveryBit(CAMERA_TYPE type, const Names& names, unsigned width) {
        for (unsigned bit = 0; bit < width; ++bit)
            expectLine(type, names, 1u << bit);
        expectLine(type, names, 0);
        expectLine(type, names, (1u << width) - 1);
        expectLine(type, names, 0x5A5Au & ((1u << width) - 1));
    }
};

TEST_F(FlagNames, OfBasin) {
    expectEveryBit(BASIN_CAMERA, kBasinNames, 16);
}
TEST_F(FlagNames, OfRidge) {
    expectEveryBit(RIDGE_CAMERA, kRidgeNames, 16);
}
TEST_F(FlagNames, OfHeron) {
    expectEveryBit(HERON_CAMERA, kHeronNames, 8);
}
TEST_F(FlagNames, OfLumen) {
    expectEveryBit(LUMEN_CAMERA, kLumenNames, 16);
}

} // namespace
} // namespace tavo::test
