// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A frame for which there is no memory.
#include "exposure/exposure_test.h"
#include "exposure/patient_camera.h"
#include "exposure/scarce_memory.h"

#include <new>
#include <vector>

namespace tavo::test::exposure {
namespace {

constexpr std::size_t kLarge = 60000; // bytes; nothing else here allocates as much

class ExposureMemoryTest : public ExposureTest {
protected:
    ExposureMemoryTest() { usb().respondWith(&peer); }

    // A frame of 400 x 200 pixels.
    static std::unique_ptr<TavoCameraImpl> camera(CAMERA_TYPE type, bool precharge = false) {
        auto made = pendingCamera(type);
        CameraPeer(*made).pixelCountX() = 400;
        CameraPeer(*made).pixelCountY() = 200;
        CameraPeer(*made).prechargeSubtraction() = precharge;
        return made;
    }

    void expectBadAlloc(TavoCameraImpl& camera) {
        CapturedTrace trace;
        unsigned short image[8] = {};
        {
            const ScarceMemory scarce(kLarge, 1);
            EXPECT_THROW(camera.getImage(image, 8), std::bad_alloc);
            EXPECT_TRUE(scarce.struck());
        }
        expectState(camera, {});
        EXPECT_EQ(traceDepth(), 0);
    }

    PatientCamera peer;
};

TEST_F(ExposureMemoryTest, GlintFrame) {
    const auto glint = camera(GLINT_CAMERA);
    expectBadAlloc(*glint);
    EXPECT_EQ(usb().transferCount(), 0u);
}

TEST_F(ExposureMemoryTest, HeronFrame) {
    for (const bool precharge : {false, true}) {
        const auto heron = camera(HERON_CAMERA, precharge);
        usb().forgetCalls();
        expectBadAlloc(*heron);
        // The camera gets its short timeout back, too.
        const Rows transfers = usb().transfers();
        ASSERT_FALSE(transfers.empty());
        EXPECT_EQ(difference(parallelTimeout(1000).front(), transfers.back()), "");
    }
}

TEST_F(ExposureMemoryTest, CameraStaysUsable) {
    const auto heron = camera(HERON_CAMERA);
    expectBadAlloc(*heron);
    unsigned short image[8] = {};
    EXPECT_FALSE(heron->getImage(image, 8));
    EXPECT_STREQ(heron->getLastError(), "Operation out of sequence");
    EXPECT_TRUE(readCCD(*heron, {}, 0.1));
    EXPECT_TRUE(heron->getImage(image, 8));
}

// The link's own buffer: the transfer fails, and nothing is thrown.
TEST_F(ExposureMemoryTest, ParallelLinkFailsInstead) {
    std::vector<unsigned short> image(40000);
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto made = camera(type);
        bool result = true;
        {
            const ScarceMemory scarce(kLarge, 1);
            EXPECT_NO_THROW(result = made->getImage(image.data(), 40000));
            EXPECT_TRUE(scarce.struck());
        }
        expectRefused(*made, result, "Failed to get image");
        expectState(*made, {});
    }
}

TEST_F(ExposureMemoryTest, HeronFrameNeedsNoOtherBuffer) {
    for (const bool precharge : {false, true}) {
        const auto heron = camera(HERON_CAMERA, precharge);
        heron->setParam(MAX_PACKET_SIZE, 4096); // the fake camera needs memory for a packet
        unsigned short image[8] = {};
        const ScarceMemory scarce(kLarge, 2);
        EXPECT_TRUE(heron->getImage(image, 8));
        EXPECT_FALSE(scarce.struck());
    }
}

// Packets bound what the link needs beside the image.
TEST_F(ExposureMemoryTest, ParallelLinkNeedsRoomForOnePacket) {
    std::vector<unsigned short> image(40000);
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        SCOPED_TRACE(familyName(type));
        const auto made = camera(type);
        made->setParam(MAX_PACKET_SIZE, 4096);
        const ScarceMemory scarce(8192, 1);
        EXPECT_TRUE(made->getImage(image.data(), 40000));
        EXPECT_FALSE(scarce.struck());
    }
}

} // namespace
} // namespace tavo::test::exposure
