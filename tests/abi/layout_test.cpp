// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The binary layout of the public types. There is nothing to run: what is wrong does not compile.
#include "tavoccdusb.h"

#include <cstddef>
#include <type_traits>

namespace {

template <typename Enum>
constexpr bool kIs32Bit = std::is_same_v<std::underlying_type_t<Enum>, std::int32_t>;

static_assert(kIs32Bit<CAMERA_TYPE> && kIs32Bit<PARAM_TYPE> && kIs32Bit<COOLER_TYPE> &&
              kIs32Bit<COOLING_STATE> && kIs32Bit<COLOUR_TYPE>);

static_assert(BASIN_CAMERA == 1 && RIDGE_CAMERA == 2 && HERON_CAMERA == 3 && GLINT_CAMERA == 4 &&
              LUMEN_CAMERA == 5);
static_assert(QUICKER_START_EXPOSURE_DELAY == 1 && QUICKER_READ_CCD_DELAY == 2 &&
              MAX_PACKET_SIZE == 3);
static_assert(COOLER_NONE == 0 && COOLER_ALWAYSON == 1 && COOLER_ONOFF == 2 &&
              COOLER_SELECTPOWER == 3 && COOLER_SETPOINT == 4);
static_assert(COOLING_INACTIVE == 0 && COOLING_ON == 1 && COOLING_SETPOINT == 2 && WARMING_UP == 3);
static_assert(COLOUR_MONO == 1 && COLOUR_BAYER == 2);

static_assert(std::is_standard_layout_v<TavoCapabilities> &&
              std::is_trivially_copyable_v<TavoCapabilities>);

static_assert(offsetof(TavoCapabilities, hasShutter) == 0);
static_assert(offsetof(TavoCapabilities, hasGuidePort) == 1);
static_assert(offsetof(TavoCapabilities, has8BitMode) == 2);
static_assert(offsetof(TavoCapabilities, hasFilterWheel) == 3);
static_assert(offsetof(TavoCapabilities, gpioLineCount) == 4);
static_assert(offsetof(TavoCapabilities, pixelCountX) == 8);
static_assert(offsetof(TavoCapabilities, pixelCountY) == 12);
static_assert(offsetof(TavoCapabilities, pixelSizeX) == 16);
static_assert(offsetof(TavoCapabilities, pixelSizeY) == 24);
static_assert(offsetof(TavoCapabilities, maxBinX) == 32);
static_assert(offsetof(TavoCapabilities, maxBinY) == 36);
static_assert(offsetof(TavoCapabilities, tempSensorCount) == 40);
static_assert(offsetof(TavoCapabilities, coolerType) == 44);
static_assert(offsetof(TavoCapabilities, colourType) == 48);
static_assert(offsetof(TavoCapabilities, offsetX) == 52);
static_assert(offsetof(TavoCapabilities, offsetY) == 56);
static_assert(offsetof(TavoCapabilities, supportsLongExposure) == 60);

// A double is aligned to 4 bytes in records on 32-bit x86 and to 8 elsewhere; the offsets above
// come out alike.
static_assert(offsetof(TavoCapabilities, minShortExposure) == 64);
static_assert(offsetof(TavoCapabilities, maxShortExposure) == 72);
static_assert(sizeof(TavoCapabilities) == 80);

static_assert(sizeof(bool) == 1 && sizeof(unsigned) == 4 && sizeof(unsigned short) == 2);

// The class has no data of its own.
static_assert(sizeof(TavoCamera) == sizeof(void*));
static_assert(std::is_abstract_v<TavoCamera> && std::has_virtual_destructor_v<TavoCamera>);

} // namespace
