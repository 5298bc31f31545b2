// SPDX-License-Identifier: LGPL-2.1-or-later
//
// This program brings no firmware image, to a camera that does nothing without one.
#include "camera_test.h"

TEST(NoFirmwareTest, SilentCameraIsNotOpened) {
    TavoHostBulkTimeout = 500;
    TavoCamera* found = nullptr;
    ASSERT_EQ(TavoCamera::list(&found, 1), 1);
    const CameraPointer camera(found);
    EXPECT_FALSE(camera->open());
    EXPECT_STREQ(camera->getLastError(), "Failed to initialize device");
}
