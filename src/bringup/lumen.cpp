// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/flags.h"
#include "bringup/lumen_description.h"
#include "bringup/property_codec.h"
#include "core/clock.h"
#include "core/trace.h"
#include "link/gpif_tables.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {

constexpr unsigned kDescriptionCommand = 1;
constexpr unsigned kVregClearTimeCommand = 145;
constexpr unsigned kGPIOCommand = 130;
constexpr unsigned kSerialCommand = 62;

constexpr long kContactPause = 200000;               // microseconds
constexpr std::int64_t kUsualVregClearTime = 300000; // microseconds

} // namespace

bool TavoCameraImpl::contactLumen(bool ok) {
    ok = ok && parInit(1);
    ok = ok && parInit(tavo::ParInitQSlowData.data());
    ok = ok && configureLines();
    ok = ok && spiInit();
    ok = ok && setIODir(0, 1);
    ok = ok && setIOState(0, 0);
    tavo::sleepms(kContactPause);
    ok = ok && ping();
    ok = ok && setParTimeout(2000);
    tavo::sleepms(kContactPause);
    return ok && ping();
}

// hasShutter is left alone: on this family the flag is for the trace only.
bool TavoCameraImpl::describeLumen() {
    std::array<std::uint8_t, tavo::kLumenDescriptionLength> bytes{};
    if (!query(kDescriptionCommand, bytes))
        return false;
    const tavo::LumenDescription read = tavo::parseLumenDescription(bytes);
    versionMajor = read.versionMajor;
    versionMinor = read.versionMinor;
    hasGuidePort = (read.flags & tavo::flag::kNoGuidePort) == 0;
    hasGPIO = (read.flags & tavo::flag::kHasGPIO) != 0;
    has8BitMode = (read.flags & tavo::flag::kHas8BitMode) != 0;
    hasFilterWheel = (read.flags & tavo::flag::kHasFilterWheel) != 0;
    tempSensorCount = 0;
    pixelCountX = read.pixelCountX;
    pixelCountY = read.pixelCountY;
    pixelSizeX = read.pixelSizeX;
    pixelSizeY = read.pixelSizeY;
    maxBinX = read.maxBinX;
    maxBinY = read.maxBinY;

    trace::inside("version: %d.%d", versionMajor, versionMinor);
    trace::inside("model: %s", read.model.data());
    trace::inside("manufacturer: %s", read.manufacturer.data());
    trace::inside("flags: 0x%0x %s", read.flags,
                  tavo::flagNames(read.flags, tavo::flag::kTracedByLumen).c_str());
    trace::inside("pixel count: %d x %d", pixelCountX, pixelCountY);
    trace::inside("pixel size: %3.1f x %3.1f", pixelSizeX, pixelSizeY);
    trace::inside("max bin: %d x %d", maxBinX, maxBinY);
    trace::inside("well capacity: %d", read.wellCapacity);
    return true;
}

// Asked of newer firmware only; the camera answers in milliseconds.
bool TavoCameraImpl::readVregClearTime(bool ok) {
    vregClearTime = kUsualVregClearTime;
    if (ok && versionMajor > 1) {
        unsigned char reply[2] = {};
        ok = query(kVregClearTimeCommand, reply);
        if (ok)
            vregClearTime = std::int64_t{tavo::getInt16(reply, 0)} * 1000;
    }
    trace::inside("VReg clear time: %ldus", static_cast<long>(vregClearTime));
    return ok;
}

// Stored even when the command failed, as is the serial number.
bool TavoCameraImpl::readGPIOLineCount() {
    unsigned char reply[4] = {};
    const bool ok = query(kGPIOCommand, reply);
    gpioLineCount = tavo::getInt16(reply, 0);
    trace::inside("GPIO line count: %d", gpioLineCount);
    return ok;
}

bool TavoCameraImpl::readLumenSerial() {
    unsigned char reply[6] = {};
    const bool ok = query(kSerialCommand, reply);
    serialNumber = tavo::getInt16(reply, 4);
    trace::inside("serial # %010u", serialNumber);
    return ok;
}

TavoCameraImpl::BringUp TavoCameraImpl::bringUpLumen(bool ok) {
    ok = contactLumen(ok);
    ok = ok && describeLumen();
    ok = readVregClearTime(ok);
    ok = ok && appInit();
    ok = ok && learnTemperatureSensors(tavo::decodeLumenSensorCount);
    ok = ok && learnCooler(tavo::decodeLumenCooler);
    if (hasGPIO)
        ok = ok && readGPIOLineCount();
    ok = ok && readLumenSerial();
    if (hasFilterWheel)
        ok = settleFilterWheel(ok);
    return result(ok);
}
