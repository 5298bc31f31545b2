// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What applications are compiled against: values of enumerations, the layout of the record, the
// slots of the virtual operations.
#include "fake/unit_test.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace tavo::test {
namespace {

class PublicInterfaceTest : public UnitTest {};

TEST_F(PublicInterfaceTest, Values) {
    EXPECT_EQ(BASIN_CAMERA, 1);
    EXPECT_EQ(RIDGE_CAMERA, 2);
    EXPECT_EQ(HERON_CAMERA, 3);
    EXPECT_EQ(GLINT_CAMERA, 4);
    EXPECT_EQ(LUMEN_CAMERA, 5);
    EXPECT_EQ(QUICKER_START_EXPOSURE_DELAY, 1);
    EXPECT_EQ(QUICKER_READ_CCD_DELAY, 2);
    EXPECT_EQ(MAX_PACKET_SIZE, 3);
    EXPECT_EQ(COOLER_NONE, 0);
    EXPECT_EQ(COOLER_ALWAYSON, 1);
    EXPECT_EQ(COOLER_ONOFF, 2);
    EXPECT_EQ(COOLER_SELECTPOWER, 3);
    EXPECT_EQ(COOLER_SETPOINT, 4);
    EXPECT_EQ(COOLING_INACTIVE, 0);
    EXPECT_EQ(COOLING_ON, 1);
    EXPECT_EQ(COOLING_SETPOINT, 2);
    EXPECT_EQ(WARMING_UP, 3);
    EXPECT_EQ(COLOUR_MONO, 1);
    EXPECT_EQ(COLOUR_BAYER, 2);
}

TEST_F(PublicInterfaceTest, EnumerationsHave32Bits) {
    EXPECT_EQ(sizeof(CAMERA_TYPE), 4U);
    EXPECT_EQ(sizeof(PARAM_TYPE), 4U);
    EXPECT_EQ(sizeof(COOLER_TYPE), 4U);
    EXPECT_EQ(sizeof(COOLING_STATE), 4U);
    EXPECT_EQ(sizeof(COLOUR_TYPE), 4U);
}

// Natural alignment of a 64-bit system.
TEST_F(PublicInterfaceTest, CapabilityRecord) {
    EXPECT_EQ(offsetof(TavoCapabilities, hasShutter), 0U);
    EXPECT_EQ(offsetof(TavoCapabilities, hasGuidePort), 1U);
    EXPECT_EQ(offsetof(TavoCapabilities, has8BitMode), 2U);
    EXPECT_EQ(offsetof(TavoCapabilities, hasFilterWheel), 3U);
    EXPECT_EQ(offsetof(TavoCapabilities, gpioLineCount), 4U);
    EXPECT_EQ(offsetof(TavoCapabilities, pixelCountX), 8U);
    EXPECT_EQ(offsetof(TavoCapabilities, pixelCountY), 12U);
    EXPECT_EQ(offsetof(TavoCapabilities, pixelSizeX), 16U);
    EXPECT_EQ(offsetof(TavoCapabilities, pixelSizeY), 24U);
    EXPECT_EQ(offsetof(TavoCapabilities, maxBinX), 32U);
    EXPECT_EQ(offsetof(TavoCapabilities, maxBinY), 36U);
    EXPECT_EQ(offsetof(TavoCapabilities, tempSensorCount), 40U);
    EXPECT_EQ(offsetof(TavoCapabilities, coolerType), 44U);
    EXPECT_EQ(offsetof(TavoCapabilities, colourType), 48U);
    EXPECT_EQ(offsetof(TavoCapabilities, offsetX), 52U);
    EXPECT_EQ(offsetof(TavoCapabilities, offsetY), 56U);
    EXPECT_EQ(offsetof(TavoCapabilities, supportsLongExposure), 60U);
    EXPECT_EQ(offsetof(TavoCapabilities, minShortExposure), 64U);
    EXPECT_EQ(offsetof(TavoCapabilities, maxShortExposure), 72U);
    EXPECT_EQ(sizeof(TavoCapabilities), 80U);
}

TEST_F(PublicInterfaceTest, CameraHasNoDataOfItsOwn) {
    EXPECT_EQ(sizeof(TavoCamera), sizeof(void*));
    EXPECT_TRUE(std::is_abstract_v<TavoCamera>);
    EXPECT_TRUE(std::has_virtual_destructor_v<TavoCamera>);
}

// A pointer to a virtual member holds the offset of its slot, one more on x86.
template <typename Member>
std::size_t slot(Member member) {
    std::uintptr_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
#if defined(__aarch64__) || defined(__arm__)
    return offset / sizeof(void*);
#else
    return (offset - 1) / sizeof(void*);
#endif
}

TEST_F(PublicInterfaceTest, SlotOrder) {
    using U = unsigned;
    using Record = bool (TavoCamera::*)(const char**, CAMERA_TYPE*, TavoCapabilities*);
    using Long = bool (TavoCamera::*)(const char**, CAMERA_TYPE*, bool*, bool*, bool*, bool*, U*,
                                      U*, U*, double*, double*, U*, U*, U*, COOLER_TYPE*,
                                      COLOUR_TYPE*, int*, int*, bool*, double*, double*);
    using Read = bool (TavoCamera::*)(U, U, U, U, U, U);
    using TimedRead = bool (TavoCamera::*)(U, U, U, U, U, U, double);
    const std::size_t slots[]{
        slot(&TavoCamera::getName),
        slot(&TavoCamera::open),
        slot(&TavoCamera::close),
        slot(&TavoCamera::setParam),
        slot(&TavoCamera::getParam),
        slot(static_cast<Long>(&TavoCamera::getCapabilities)),
        slot(static_cast<Record>(&TavoCamera::getCapabilities)),
        slot(&TavoCamera::getTemperatureSensorStatus),
        slot(&TavoCamera::getCoolingStatus),
        slot(&TavoCamera::setCooling),
        slot(&TavoCamera::initiateWarmUp),
        slot(&TavoCamera::getFilterWheelStatus),
        slot(&TavoCamera::setFilter),
        slot(&TavoCamera::setPreviewMode),
        slot(&TavoCamera::set8BitMode),
        slot(&TavoCamera::setDarkFrameMode),
        slot(&TavoCamera::startExposure),
        slot(&TavoCamera::abortExposure),
        slot(static_cast<Read>(&TavoCamera::readCCD)),
        slot(static_cast<TimedRead>(&TavoCamera::readCCD)),
        slot(&TavoCamera::getImage),
        slot(&TavoCamera::setShutter),
        slot(&TavoCamera::setGuideRelays),
        slot(&TavoCamera::setGPIODirection),
        slot(&TavoCamera::getGPIO),
        slot(&TavoCamera::setGPIO),
        slot(&TavoCamera::getGain),
        slot(&TavoCamera::setGain),
        slot(&TavoCamera::delay),
        slot(&TavoCamera::imageWidth),
        slot(&TavoCamera::imageHeight),
        slot(&TavoCamera::getSerialNumber),
        slot(&TavoCamera::getVersionMajor),
        slot(&TavoCamera::getVersionMinor),
        slot(&TavoCamera::getLastError),
    };
    ASSERT_EQ(std::size(slots), 35U);
    for (std::size_t i = 0; i < std::size(slots); ++i)
        EXPECT_EQ(slots[i], i) << "operation " << i + 1;
}

} // namespace
} // namespace tavo::test
