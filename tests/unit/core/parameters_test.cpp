// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <climits>

namespace tavo::test {
namespace {

class ParametersTest : public UnitTest {};

constexpr auto kUnknownParameter = static_cast<PARAM_TYPE>(17);

TEST_F(ParametersTest, NewCameraHasTheDefaults) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = closedCamera(type);
        EXPECT_EQ(camera->getParam(MAX_PACKET_SIZE), 25165824);
        EXPECT_STREQ(camera->getLastError(), "No error");
    }
    const auto heron = closedCamera(HERON_CAMERA);
    EXPECT_EQ(heron->getParam(QUICKER_START_EXPOSURE_DELAY), 200000);
    EXPECT_EQ(heron->getParam(QUICKER_READ_CCD_DELAY), 100000);
}

TEST_F(ParametersTest, PacketSizeIsStoredUnchecked) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = closedCamera(type);
        for (const long value : {0L, -1L, 512L, LONG_MAX, LONG_MIN}) {
            EXPECT_TRUE(camera->setParam(MAX_PACKET_SIZE, value));
            EXPECT_EQ(camera->getParam(MAX_PACKET_SIZE), value);
        }
        EXPECT_STREQ(camera->getLastError(), "No error");
    }
}

TEST_F(ParametersTest, DelaysBelongToHeron) {
    for (const CAMERA_TYPE type : kFamilies) {
        for (const PARAM_TYPE delay : {QUICKER_START_EXPOSURE_DELAY, QUICKER_READ_CCD_DELAY}) {
            const auto camera = closedCamera(type);
            const bool served = type == HERON_CAMERA;
            EXPECT_EQ(camera->setParam(delay, 5), served);
            EXPECT_EQ(camera->getParam(delay), served ? 5 : 0);
            EXPECT_STREQ(camera->getLastError(), served ? "No error" : "Invalid parameter");
        }
    }
}

TEST_F(ParametersTest, DelaysAreKeptApart) {
    const auto camera = closedCamera(HERON_CAMERA);
    EXPECT_TRUE(camera->setParam(QUICKER_START_EXPOSURE_DELAY, 7));
    EXPECT_TRUE(camera->setParam(QUICKER_READ_CCD_DELAY, -8));
    EXPECT_EQ(camera->getParam(QUICKER_START_EXPOSURE_DELAY), 7);
    EXPECT_EQ(camera->getParam(QUICKER_READ_CCD_DELAY), -8);
    EXPECT_EQ(camera->getParam(MAX_PACKET_SIZE), 25165824);
}

TEST_F(ParametersTest, UnknownParameterIsRefused) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = closedCamera(type);
        EXPECT_EQ(camera->getParam(kUnknownParameter), 0);
        EXPECT_STREQ(camera->getLastError(), "Invalid parameter");
        EXPECT_FALSE(camera->setParam(static_cast<PARAM_TYPE>(0), 1));
    }
}

TEST_F(ParametersTest, SuccessKeepsTheLastError) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    EXPECT_FALSE(camera->setParam(kUnknownParameter, 1));
    EXPECT_TRUE(camera->setParam(MAX_PACKET_SIZE, 1));
    EXPECT_STREQ(camera->getLastError(), "Invalid parameter");
}

TEST_F(ParametersTest, WorkOnACameraInUse) {
    const auto camera = openedCamera(HERON_CAMERA);
    CameraPeer peer(*camera);
    peer.lock();
    EXPECT_TRUE(camera->setParam(QUICKER_READ_CCD_DELAY, 1));
    EXPECT_EQ(camera->getParam(QUICKER_READ_CCD_DELAY), 1);
    EXPECT_FALSE(peer.lockIsFree());
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(ParametersTest, TraceOfStores) {
    const auto camera = closedCamera(HERON_CAMERA);
    CapturedTrace trace;
    camera->setParam(QUICKER_START_EXPOSURE_DELAY, 11);
    camera->setParam(QUICKER_READ_CCD_DELAY, 12);
    camera->setParam(MAX_PACKET_SIZE, -13);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::setParam(1, 11)", "    quickerStartExposureDelay = 11",
                     "<- TavoCameraImpl::setParam -> 1", "-> TavoCameraImpl::setParam(2, 12)",
                     "    quickerReadCCDDelay = 12", "<- TavoCameraImpl::setParam -> 1",
                     "-> TavoCameraImpl::setParam(3, -13)", "    maxPacketSize = -13",
                     "<- TavoCameraImpl::setParam -> 1"}));
}

TEST_F(ParametersTest, TraceOfReads) {
    const auto camera = closedCamera(HERON_CAMERA);
    CapturedTrace trace;
    camera->getParam(QUICKER_START_EXPOSURE_DELAY);
    camera->getParam(QUICKER_READ_CCD_DELAY);
    camera->getParam(MAX_PACKET_SIZE);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::getParam(1)", "    quickerStartExposureDelay = 200000",
                     "<- TavoCameraImpl::getParam -> 200000", "-> TavoCameraImpl::getParam(2)",
                     "    quickerReadCCDDelay = 100000", "<- TavoCameraImpl::getParam -> 100000",
                     "-> TavoCameraImpl::getParam(3)", "    maxPacketSize = 25165824",
                     "<- TavoCameraImpl::getParam -> 25165824"}));
}

TEST_F(ParametersTest, TraceOfRefusals) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    camera->setParam(QUICKER_READ_CCD_DELAY, 5);
    camera->getParam(kUnknownParameter);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::setParam(2, 5)", "<- TavoCameraImpl::setParam -> 00",
                     "-> TavoCameraImpl::getParam(17)", "<- TavoCameraImpl::getParam -> 00"}));
}

} // namespace
} // namespace tavo::test
