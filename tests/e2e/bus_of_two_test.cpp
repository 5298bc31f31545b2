// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Two cameras on one bus, driven at the same time.
#include "camera_test.h"

#include <thread>

namespace {

unsigned framesTaken(TavoCamera& camera, unsigned rounds) {
    TavoCapabilities caps;
    if (!camera.open() || !camera.getCapabilities(nullptr, nullptr, &caps))
        return 0;
    std::vector<unsigned short> pixels(caps.pixelCountX / 4 * (caps.pixelCountY / 4));
    unsigned taken = 0;
    for (unsigned round = 0; round < rounds; ++round)
        taken +=
            camera.readCCD(0, 0, caps.pixelCountX / 4 * 4, caps.pixelCountY / 4 * 4, 4, 4, 0.05) &&
            camera.getImage(pixels.data(), static_cast<unsigned>(pixels.size()));
    return taken;
}

} // namespace

TEST(BusOfTwo, BothCamerasTakePicturesAtOnce) {
    TavoCamera* found[4] = {};
    ASSERT_EQ(TavoCamera::list(found, 4), 2);
    const CameraPointer first(found[0]), second(found[1]);
    unsigned byFirst = 0, bySecond = 0;
    std::thread one([&] { byFirst = framesTaken(*first, 5); });
    std::thread other([&] { bySecond = framesTaken(*second, 5); });
    one.join();
    other.join();
    EXPECT_EQ(byFirst, 5u) << first->getLastError();
    EXPECT_EQ(bySecond, 5u) << second->getLastError();
    EXPECT_NE(first->getSerialNumber(), second->getSerialNumber());
}

TEST(BusOfTwo, ListStopsAtTheLimit) {
    TavoCamera* found[2] = {};
    ASSERT_EQ(TavoCamera::list(found, 1), 1);
    EXPECT_EQ(found[1], nullptr);
    const CameraPointer only(found[0]);
}
