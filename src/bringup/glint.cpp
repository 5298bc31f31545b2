// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/clock.h"
#include "core/trace.h"
#include "link/registers.h"
#include "tavocameraimpl.h"

namespace reg = tavo::reg;
namespace trace = tavo::trace;

namespace {
constexpr long kInitializePause = 1000; // microseconds
constexpr std::uint32_t kUpTimeMask = 0xEFFFFFFF;
} // namespace

void TavoCameraImpl::setGlintFeatures() {
    writeRegister(reg::kBase + 0x81C, 0xC2000000);
    writeRegister(reg::kBase + 0x83C, 0xC2000000);
    writeRegister(reg::kBase + 0x804, 0xC0000000);
    writeRegister(reg::kBase + 0x800, 0xC2000000);
    writeAbsValue(reg::kBrightness, 2.0f);
    writeRegister(reg::kBase + 0x818, 0xC2000000);
    writeAbsValue(reg::kGamma, 1.0f);
    writeRegister(reg::kBase + 0x820, 0xC2000000);
    writeAbsValue(reg::kGain, 1.0f);
    trace::inside("initialized");
}

// Two registers are read for the trace alone, so the traffic differs while it is on.
void TavoCameraImpl::identifyGlint() {
    if (trace::on()) {
        const std::uint32_t board = readRegister(reg::kBoard);
        trace::inside("board:    0x%x (0x%08x)", board >> 20 & 0xFF, board);
    }
    const std::uint32_t version = readRegister(reg::kVersion);
    versionMajor = version >> 24;
    versionMinor = version >> 16 & 0xFF;
    serialNumber = readRegister(reg::kSerial);
    trace::inside("version:  %d.%d rev %d (0x%08x)", versionMajor, versionMinor, version & 0xFFF,
                  version);
    trace::inside("serial:   %d", serialNumber);
    if (trace::on()) {
        const std::uint32_t seconds = readRegister(reg::kUpTime) & kUpTimeMask;
        trace::inside("up time:  %d min %d s", seconds / 60, seconds % 60);
    }
}

// Registers are written and read blindly: only the claim can fail. What the sensor is like is
// known, not asked.
TavoCameraImpl::BringUp TavoCameraImpl::bringUpGlint(bool ok) {
    if (ok)
        writeRegister(reg::kInitialize, 0x80000000);
    tavo::sleepms(kInitializePause);
    if (ok) {
        setGlintFeatures();
        identifyGlint();
        hasShutter = hasGuidePort = has8BitMode = hasFilterWheel = hasGPIO = false;
        tempSensorCount = 0;
        coolerType = COOLER_NONE;
        pixelCountX = 1280;
        pixelCountY = 960;
        pixelSizeX = pixelSizeY = 3.75;
        maxBinX = maxBinY = 2;
    }
    return result(ok);
}
