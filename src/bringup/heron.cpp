// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/flags.h"
#include "bringup/heron_description.h"
#include "core/clock.h"
#include "core/trace.h"
#include "link/eeprom.h"
#include "link/gpif_tables.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {

constexpr long kContactPause = 200000; // microseconds

} // namespace

bool TavoCameraImpl::contactHeron(bool ok) {
    ok = ok && parInit(1);
    ok = ok && parInit(tavo::ParInitQSlowData.data());
    ok = ok && configureLines();
    ok = ok && spiInit();
    ok = ok && setIOState(1, 1) && setIOState(1, 0) && setIOState(2, 1);
    ok = ok && ping();
    ok = ok && setParTimeout(2000);
    tavo::sleepms(kContactPause);
    return ok;
}

bool TavoCameraImpl::describeHeron() {
    std::array<std::uint8_t, tavo::kHeronDescriptionLength> bytes{};
    if (!eepRead(tavo::eeprom::kHeronDescription, bytes.data(), bytes.size()))
        return false;
    const tavo::HeronDescription read = tavo::parseHeronDescription(bytes);
    versionMajor = read.versionMajor;
    versionMinor = read.versionMinor;
    pixelCountX = static_cast<std::uint32_t>(read.pixelCountX);
    pixelCountY = static_cast<std::uint32_t>(read.pixelCountY);
    pixelSizeX = read.pixelSizeX;
    pixelSizeY = read.pixelSizeY;
    maxBinX = read.maxBinX;
    maxBinY = read.maxBinY;
    prechargeOffset = read.prechargeOffset;
    hasGuidePort = (read.flags & tavo::heronflag::kHasGuidePort) != 0;
    prechargeSubtraction = (read.flags & tavo::heronflag::kPrechargeCDS) != 0;
    hasShutter = hasFilterWheel = hasGPIO = has8BitMode = false;
    tempSensorCount = 0;
    coolerType = COOLER_NONE;

    const auto width = [](std::string_view text) { return static_cast<int>(text.size()); };
    trace::inside("version: %d.%d", versionMajor, versionMinor);
    trace::inside("model: %.*s", width(read.model), read.model.data());
    trace::inside("manufacturer: %.*s", width(read.manufacturer), read.manufacturer.data());
    trace::inside("flags: 0x%0x %s", read.flags, tavo::heronFlagNames(read.flags).c_str());
    trace::inside("pixel count: %d x %d", pixelCountX, pixelCountY);
    trace::inside("pixel size: %3.1f x %3.1f", pixelSizeX, pixelSizeY);
    trace::inside("max bin: %d x %d", maxBinX, maxBinY);
    trace::inside("precharge offset: %d", prechargeOffset);
    return true;
}

TavoCameraImpl::BringUp TavoCameraImpl::bringUpHeron(bool ok) {
    ok = contactHeron(ok);
    ok = ok && describeHeron();
    ok = ok && readEepromSerial();
    ok = ok && setADC();
    return result(ok);
}
