// SPDX-License-Identifier: LGPL-2.1-or-later
//
// This program brings a firmware image of its own, to a camera that does nothing without one.
#include "camera_test.h"

const unsigned char FIRMWARE[] = {3, 0x00, 0x10, 0x02, 0x10, 0x03, // three bytes at 0x1000
                                  2, 0x34, 0x12, 0xAB, 0xCD,       // two at 0x1234
                                  0};

class FirmwareTest : public CameraTest {};

TEST_F(FirmwareTest, ImageOfTheApplicationStartsTheCamera) {
    EXPECT_GT(background(exposeTimed(0.1, {0, 0, 100, 100, 1})), 0.0);
}
