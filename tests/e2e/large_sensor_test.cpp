// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A frame of 16 million pixels in one request and in small ones.
#include "camera_test.h"

class LargeSensorTest : public CameraTest {};

TEST_F(LargeSensorTest, KnowsItsRealSize) {
    EXPECT_EQ(caps.pixelCountX, 4499u);
    EXPECT_EQ(caps.pixelCountY, 3599u);
}

TEST_F(LargeSensorTest, FullFrameArrivesWhole) {
    for (const long chunk : {1L << 20, 0x1800000L}) {
        ASSERT_TRUE(camera->setParam(MAX_PACKET_SIZE, chunk));
        const Frame frame = exposeTimed(1.0, fullFrame());
        // The last row holds sky as the first does.
        const auto row = static_cast<std::ptrdiff_t>(frame.width);
        Frame bottom{frame.width, 1, {frame.pixels.end() - row, frame.pixels.end()}};
        EXPECT_NEAR(background(bottom), background(frame), 5 * noise(frame));
        EXPECT_GE(brightestStars(frame, 100).size(), 50u);
    }
}
