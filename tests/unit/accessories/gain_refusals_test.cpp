// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What gain operations answer where they do nothing.
#include "bringup/trace_lines.h"
#include "fake/unit_test.h"

#include <limits>

namespace tavo::test {
namespace {

class GainRefusals : public UnitTest {};

// Success with an error text, which applications rely on.
TEST_F(GainRefusals, OtherFamiliesSucceedAndLeaveAText) {
    for (const CAMERA_TYPE type :
         {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        auto camera = openedCamera(type);
        CameraPeer peer(*camera);
        int gain = 7, offset = 8;
        CapturedTrace trace;
        EXPECT_TRUE(camera->getGain(&gain, &offset));
        EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
        EXPECT_EQ(gain, 7);
        EXPECT_EQ(offset, 8);
        peer.lastError() = "other";
        EXPECT_TRUE(camera->setGain(-1, 1000)); // not checked
        EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
        EXPECT_TRUE(camera->getGain(nullptr, nullptr));
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_TRUE(peer.lockIsFree());
        const Lines locked = joinedLines({say("lock()"), say("unlock()")});
        const Lines expected =
            joinedLines({operation("getGain(...)", "getGain 1 -> 7, 8", {locked}),
                         operation("setGain(-1, 1000)", "setGain 1", {locked})});
        const Lines lines = trace.lines();
        ASSERT_GE(lines.size(), expected.size());
        expectLines(expected, Lines(lines.begin(),
                                    lines.begin() + static_cast<std::ptrdiff_t>(expected.size())));
    }
}

TEST_F(GainRefusals, OutsideTheRange) {
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kMost = std::numeric_limits<int>::max();
    auto camera = openedCamera(LUMEN_CAMERA);
    CameraPeer peer(*camera);
    for (const auto& [gain, offset] :
         {std::pair{64, 0}, {-1, 0}, {0, 513}, {0, -1}, {kLeast, 0}, {kMost, kMost}}) {
        peer.lastError() = "other";
        CapturedTrace trace;
        EXPECT_FALSE(camera->setGain(gain, offset)) << gain << ", " << offset;
        EXPECT_STREQ(camera->getLastError(), "Invalid parameter");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_TRUE(peer.lockIsFree());
        expectLines(
            operation("setGain(" + std::to_string(gain) + ", " + std::to_string(offset) + ")",
                      "setGain 00 // invalid parameter", {say("lock()"), say("unlock()")}),
            trace.lines());
    }
}

} // namespace
} // namespace tavo::test
