// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <cstring>

namespace tavo::test {
namespace {

class CapabilitiesTest : public UnitTest {};

// Every output of the long form, with values that no camera has.
struct Outputs {
    const char* name = "untouched";
    CAMERA_TYPE type = kUnknownFamily;
    TavoCapabilities record;
    Outputs() { std::memset(&record, 0x55, sizeof record); }

    bool ask(TavoCamera& camera) {
        return camera.getCapabilities(
            &name, &type, &record.hasShutter, &record.hasGuidePort, &record.has8BitMode,
            &record.hasFilterWheel, &record.gpioLineCount, &record.pixelCountX, &record.pixelCountY,
            &record.pixelSizeX, &record.pixelSizeY, &record.maxBinX, &record.maxBinY,
            &record.tempSensorCount, &record.coolerType, &record.colourType, &record.offsetX,
            &record.offsetY, &record.supportsLongExposure, &record.minShortExposure,
            &record.maxShortExposure);
    }

    bool untouched() const {
        const Outputs fresh;
        return name == fresh.name && type == fresh.type &&
               std::memcmp(&record, &fresh.record, sizeof record) == 0;
    }
};

bool askNothing(TavoCamera& camera) {
    return camera.getCapabilities(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

void describe(CameraPeer peer) {
    peer.hasShutter() = true;
    peer.hasGuidePort() = false;
    peer.has8BitMode() = true;
    peer.hasFilterWheel() = false;
    peer.gpioLineCount() = 6;
    peer.pixelCountX() = 1392;
    peer.pixelCountY() = 1040;
    peer.pixelSizeX() = 6.45;
    peer.pixelSizeY() = 6.5;
    peer.maxBinX() = 8;
    peer.maxBinY() = 4;
    peer.tempSensorCount() = 3;
    peer.coolerType() = COOLER_ONOFF;
    peer.colourType() = COLOUR_BAYER;
    peer.offsetX() = 1;
    peer.offsetY() = -1;
}

void expectDescribed(const TavoCapabilities& record) {
    EXPECT_TRUE(record.hasShutter);
    EXPECT_FALSE(record.hasGuidePort);
    EXPECT_TRUE(record.has8BitMode);
    EXPECT_FALSE(record.hasFilterWheel);
    EXPECT_EQ(record.gpioLineCount, 6U);
    EXPECT_EQ(record.pixelCountX, 1392U);
    EXPECT_EQ(record.pixelCountY, 1040U);
    EXPECT_EQ(record.pixelSizeX, 6.45);
    EXPECT_EQ(record.pixelSizeY, 6.5);
    EXPECT_EQ(record.maxBinX, 8U);
    EXPECT_EQ(record.maxBinY, 4U);
    EXPECT_EQ(record.tempSensorCount, 3U);
    EXPECT_EQ(record.coolerType, COOLER_ONOFF);
    EXPECT_EQ(record.colourType, COLOUR_BAYER);
    EXPECT_EQ(record.offsetX, 1);
    EXPECT_EQ(record.offsetY, -1);
    EXPECT_TRUE(record.supportsLongExposure);
    EXPECT_EQ(record.minShortExposure, 0.001);
    EXPECT_EQ(record.maxShortExposure, 3.0);
}

TEST_F(CapabilitiesTest, ClosedCameraRefusesAndWritesNothing) {
    for (const CAMERA_TYPE type : kFamilies) {
        const auto camera = closedCamera(type);
        Outputs outputs;
        CapturedTrace trace;
        EXPECT_FALSE(outputs.ask(*camera));
        EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::getCapabilities(...)",
                                        "<- TavoCameraImpl::getCapabilities 00"}));
        EXPECT_STREQ(camera->getLastError(), "Device is not opened");
        EXPECT_TRUE(outputs.untouched());
    }
}

TEST_F(CapabilitiesTest, ClosedCameraRefusesTheRecordForm) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    Outputs outputs;
    EXPECT_FALSE(camera->getCapabilities(&outputs.name, &outputs.type, &outputs.record));
    EXPECT_TRUE(outputs.untouched());
}

TEST_F(CapabilitiesTest, LongFormReportsTheFields) {
    const auto camera = openedCamera(RIDGE_CAMERA);
    describe(CameraPeer(*camera));
    Outputs outputs;
    CapturedTrace trace;
    EXPECT_TRUE(outputs.ask(*camera));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::getCapabilities(...)",
                                    "<- TavoCameraImpl::getCapabilities 1"}));
    EXPECT_STREQ(outputs.name, "Ridge");
    EXPECT_EQ(outputs.type, RIDGE_CAMERA);
    expectDescribed(outputs.record);
    EXPECT_STREQ(camera->getLastError(), "No error");
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(CapabilitiesTest, RecordFormReportsTheFields) {
    const auto camera = openedCamera(RIDGE_CAMERA);
    describe(CameraPeer(*camera));
    Outputs outputs;
    EXPECT_TRUE(camera->getCapabilities(&outputs.name, &outputs.type, &outputs.record));
    EXPECT_STREQ(outputs.name, "Ridge");
    EXPECT_EQ(outputs.type, RIDGE_CAMERA);
    expectDescribed(outputs.record);
    EXPECT_TRUE(camera->getCapabilities(nullptr, nullptr, &outputs.record));
}

TEST_F(CapabilitiesTest, EveryOutputMayBeNull) {
    const auto camera = openedCamera(HERON_CAMERA);
    EXPECT_TRUE(askNothing(*camera));
}

TEST_F(CapabilitiesTest, OnlyAWidthOf3326HasALongerShortestExposure) {
    const auto camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    for (const unsigned width : {0U, 1392U, 3325U, 3326U, 3327U, 4499U}) {
        peer.pixelCountX() = width;
        Outputs outputs;
        EXPECT_TRUE(outputs.ask(*camera));
        EXPECT_EQ(outputs.record.minShortExposure, width == 3326 ? 0.2 : 0.001) << width;
    }
}

TEST_F(CapabilitiesTest, LimitsByFamily) {
    const struct {
        CAMERA_TYPE type;
        bool longExposure;
        double longest;
    } rows[]{{BASIN_CAMERA, true, 2.46},
             {RIDGE_CAMERA, true, 3.0},
             {HERON_CAMERA, true, 1.398},
             {GLINT_CAMERA, false, 0.5},
             {LUMEN_CAMERA, true, 3.0}};
    for (const auto& row : rows) {
        const auto camera = openedCamera(row.type);
        Outputs outputs;
        EXPECT_TRUE(outputs.ask(*camera));
        EXPECT_EQ(outputs.type, row.type);
        EXPECT_EQ(outputs.record.supportsLongExposure, row.longExposure) << familyName(row.type);
        EXPECT_EQ(outputs.record.maxShortExposure, row.longest) << familyName(row.type);
    }
}

TEST_F(CapabilitiesTest, UnknownFamilyLeavesTheLongestShortExposureUnwritten) {
    const auto camera = openedCamera(kUnknownFamily);
    Outputs outputs;
    const double before = outputs.record.maxShortExposure;
    EXPECT_TRUE(outputs.ask(*camera));
    EXPECT_EQ(std::memcmp(&outputs.record.maxShortExposure, &before, sizeof before), 0);
    EXPECT_TRUE(outputs.record.supportsLongExposure);
}

TEST_F(CapabilitiesTest, RecordFormHonoursAnOverriddenLongForm) {
    class Overriding : public TavoCameraImpl {
    public:
        using TavoCameraImpl::getCapabilities;
        using TavoCameraImpl::TavoCameraImpl;
        bool getCapabilities(const char** reportedName, CAMERA_TYPE*, bool*, bool*, bool*, bool*,
                             unsigned* lines, unsigned*, unsigned*, double*, double*, unsigned*,
                             unsigned*, unsigned*, COOLER_TYPE*, COLOUR_TYPE*, int*, int*, bool*,
                             double*, double* longest) override {
            *reportedName = "overridden";
            *lines = 77;
            *longest = 1.25;
            return true;
        }
    };
    Overriding camera(usb().device(), "Ridge", RIDGE_CAMERA);
    TavoCamera& base = camera;
    const char* name = nullptr;
    TavoCapabilities record{};
    EXPECT_TRUE(base.getCapabilities(&name, nullptr, &record));
    EXPECT_STREQ(name, "overridden");
    EXPECT_EQ(record.gpioLineCount, 77U);
    EXPECT_EQ(record.maxShortExposure, 1.25);
}

} // namespace
} // namespace tavo::test
