// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

class ConstructionTest : public UnitTest {};

TEST_F(ConstructionTest, FieldsOfANewCamera) {
    for (const CAMERA_TYPE type : kFamilies) {
        TavoCameraImpl camera(usb().device(3), "Name", type);
        CameraPeer peer(camera);
        EXPECT_EQ(peer.device(), usb().device(3));
        EXPECT_STREQ(peer.name(), "Name");
        EXPECT_EQ(peer.type(), type);
        EXPECT_EQ(peer.handle(), nullptr);
        for (const bool flag :
             {peer.hasShutter(), peer.hasGuidePort(), peer.has8BitMode(), peer.hasFilterWheel(),
              peer.hasGPIO(), peer.exposureStarted().load(), peer.readoutPending().load(),
              peer.previewMode().load(), peer.eightBitMode().load(), peer.darkFrameMode().load(),
              peer.prechargeSubtraction()})
            EXPECT_FALSE(flag);
        for (const std::uint32_t number :
             {peer.pixelCountX(), peer.pixelCountY(), peer.maxBinX(), peer.maxBinY(),
              peer.tempSensorCount(), peer.gpioLineCount(), peer.readX(), peer.readY(),
              peer.readWidth(), peer.readHeight(), peer.readXBin(), peer.readYBin()})
            EXPECT_EQ(number, 0U);
        EXPECT_EQ(peer.pixelSizeX(), 0.0);
        EXPECT_EQ(peer.pixelSizeY(), 0.0);
        EXPECT_EQ(peer.coolerType(), COOLER_NONE);
        EXPECT_EQ(peer.quickerStartExposureDelay(), 200000);
        EXPECT_EQ(peer.quickerReadCCDDelay(), 100000);
        EXPECT_EQ(peer.maxPacketSize(), 0x1800000);
        EXPECT_EQ(peer.guideRelayState(), 0);
        EXPECT_EQ(peer.prechargeOffset(), 0);
        EXPECT_EQ(peer.bulkTimeout(), 30000U);
        EXPECT_EQ(peer.openRetryCounter(), 0);
        EXPECT_STREQ(peer.lastError(), "No error");
        EXPECT_TRUE(peer.lockIsFree());
    }
}

// What the camera has not said yet is reported as nothing and monochrome.
TEST_F(ConstructionTest, FieldsThatOpenFills) {
    const auto camera = closedCamera(LUMEN_CAMERA);
    CameraPeer peer(*camera);
    EXPECT_EQ(peer.tempSensorType(), 0U);
    EXPECT_EQ(peer.colourType(), COLOUR_MONO);
    EXPECT_EQ(peer.offsetX(), 0);
    EXPECT_EQ(peer.offsetY(), 0);
    EXPECT_EQ(peer.minCoolerPower(), 0);
    EXPECT_EQ(peer.maxCoolerPower(), 0);
    EXPECT_EQ(peer.vregClearTime(), 0);
    EXPECT_FALSE(peer.startOption());
    EXPECT_EQ(camera->getSerialNumber(), 0U);
    EXPECT_EQ(camera->getVersionMajor(), 0U);
    EXPECT_EQ(camera->getVersionMinor(), 0U);
}

TEST_F(ConstructionTest, AccessorsReturnTheFieldsAndTraceNothing) {
    const auto camera = closedCamera(BASIN_CAMERA);
    CameraPeer peer(*camera);
    peer.serialNumber() = 0xFFFFFFFFU;
    peer.versionMajor() = 12;
    peer.versionMinor() = 34;
    CapturedTrace trace;
    EXPECT_EQ(camera->getName(), peer.name());
    EXPECT_EQ(camera->getSerialNumber(), 0xFFFFFFFFU);
    EXPECT_EQ(camera->getVersionMajor(), 12U);
    EXPECT_EQ(camera->getVersionMinor(), 34U);
    EXPECT_STREQ(camera->getLastError(), "No error");
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ConstructionTest, BulkTimeoutIsTakenOnce) {
    TavoHostBulkTimeout = 1234;
    const auto camera = closedCamera(RIDGE_CAMERA);
    TavoHostBulkTimeout = 99;
    EXPECT_EQ(CameraPeer(*camera).bulkTimeout(), 1234U);
    EXPECT_EQ(CameraPeer(*closedCamera(RIDGE_CAMERA)).bulkTimeout(), 99U);
}

TEST_F(ConstructionTest, Trace) {
    CapturedTrace trace;
    closedCamera(RIDGE_CAMERA);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::TavoCameraImpl(..., Ridge, 2)",
                     "    maxPacketSize = 25165824", "<- TavoCameraImpl::TavoCameraImpl"}));
}

TEST_F(ConstructionTest, TraceOfHeronNamesItsDelays) {
    CapturedTrace trace;
    closedCamera(HERON_CAMERA);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::TavoCameraImpl(..., Heron, 3)",
                     "    quickerStartExposureDelay = 200000", "    quickerReadCCDDelay = 100000",
                     "    maxPacketSize = 25165824", "<- TavoCameraImpl::TavoCameraImpl"}));
}

TEST_F(ConstructionTest, DestructionDoesNotClose) {
    TavoCamera_destroy(openedCamera(RIDGE_CAMERA).release());
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(ConstructionTest, DestroyIgnoresNull) {
    TavoCamera_destroy(nullptr);
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(ConstructionTest, DestroyDeletesThroughTheVirtualDestructor) {
    class Counted : public TavoCameraImpl {
    public:
        Counted(int& counter)
            : TavoCameraImpl(usb().device(), "Counted", RIDGE_CAMERA), destroyed(counter) {}
        ~Counted() override { ++destroyed; }

    private:
        int& destroyed;
    };
    int destroyed = 0;
    TavoCamera_destroy(new Counted(destroyed));
    EXPECT_EQ(destroyed, 1);
}

} // namespace
} // namespace tavo::test
