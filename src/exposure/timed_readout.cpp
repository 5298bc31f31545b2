// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Short exposures, timed by the camera and requested together with their window.
#include "core/clock.h"
#include "core/messages.h"
#include "core/trace.h"
#include "exposure/commands.h"
#include "exposure/readout_codec.h"
#include "link/registers.h"
#include "tavocameraimpl.h"

namespace heron = tavo::heron;
namespace message = tavo::message;
namespace reg = tavo::reg;
namespace trace = tavo::trace;

namespace {

constexpr unsigned kHeronTimedExposure = 0x7A0;

// What a GLINT_CAMERA calls its two formats.
constexpr std::uint32_t kFormatBinned = 0, kModeBinned = 0xA0000000;
constexpr std::uint32_t kFormatFull = 0x40000000, kModeFull = 0x40000000;
constexpr std::uint32_t kOneShot = 0x80000000;

void waitFor(const tavo::ExposureCode& code) {
    if (code.wait > 0)
        tavo::sleepms(tavo::truncateToInt32(code.wait * 1000000.0));
}

} // namespace

bool TavoCameraImpl::exposeBasin(const tavo::Region& region, double seconds) {
    const tavo::ExposureCode code = tavo::basinExposureCode(seconds);
    const bool ok = sendReadout(tavo::basinTimedReadout(region, readoutModes(), code.code));
    waitFor(code);
    return ok;
}

bool TavoCameraImpl::exposeRidge(const tavo::Region& region, double seconds) {
    if (!startByCommands())
        return false;
    const tavo::ExposureCode code = tavo::ridgeExposureCode(seconds);
    const bool ok = sendReadout(tavo::ridgeTimedReadout(region, readoutModes(), code));
    waitFor(code);
    return ok;
}

bool TavoCameraImpl::exposeHeron(const tavo::Region& region, double seconds) {
    spiWrite(heron::kBinning, heron::binning(region.xBin, region.yBin));
    spiWrite(heron::kBinning, heron::binning(region.xBin, region.yBin));
    const tavo::ExposureCode code = tavo::heronExposureCode(seconds);
    trace::inside("expCode %d", code.code);
    const bool ok = spiWrite(heron::kControl, guideRelayState | kHeronTimedExposure) &&
                    spiWrite(heron::kTime, code.code);
    storeRegion(region);
    waitFor(code);
    return ok;
}

bool TavoCameraImpl::exposeLumen(const tavo::Region& region, double seconds) {
    const tavo::ExposureCode code = tavo::ridgeExposureCode(seconds);
    trace::inside("exp code, ms, delay: %d, %d, %g", code.code, code.microseconds, code.wait);
    const bool ok = sendReadout(tavo::lumenTimedReadout(region, readoutModes(), code));
    waitFor(code);
    return ok;
}

// What a GLINT_CAMERA refuses; null where it does not.
const char* TavoCameraImpl::glintRefusal(const tavo::Region& region, double seconds) {
    if (region.xBin != region.yBin)
        return "unsupported binning";
    return tavo::glintTiming(static_cast<float>(seconds)).tooLong ? "too long exposure" : nullptr;
}

void TavoCameraImpl::setGlintFormat(unsigned bin) {
    if (bin == 2) {
        writeRegister(reg::kFormat, kFormatBinned);
        writeRegister(reg::kMode, kModeBinned);
    } else if (bin == 1) {
        writeRegister(reg::kFormat, kFormatFull);
        writeRegister(reg::kMode, kModeFull);
    }
}

void TavoCameraImpl::traceGlintRegisters() {
    if (!trace::on())
        return;
    trace::inside("format:      %08x", readRegister(reg::kFormat));
    trace::inside("mode:        %08x", readRegister(reg::kMode));
    trace::inside("error:       %08x", readRegister(reg::kError));
    trace::inside("framerate:   %g", double{readAbsValue(reg::kFrameRate)});
    trace::inside("shutter:     %g", double{readAbsValue(reg::kShutter)});
    trace::inside("gain:        %g", double{readAbsValue(reg::kGain)});
    trace::inside("brightness:  %g", double{readAbsValue(reg::kBrightness)});
    trace::inside("gama:        %g", double{readAbsValue(reg::kGamma)});
}

// Written blindly; getImage waits for the frame.
bool TavoCameraImpl::exposeGlint(const tavo::Region& region, double seconds) {
    const auto shutter = static_cast<float>(seconds);
    const tavo::GlintTiming timing = tavo::glintTiming(shutter);
    if (timing.matched) {
        writeAbsValue(reg::kFrameRate, timing.frameRate);
        writeAbsValue(reg::kShutter, shutter);
    }
    setGlintFormat(region.xBin);
    writeRegister(reg::kTrigger, kOneShot);
    traceGlintRegisters();
    storeRegion(region);
    return true;
}

bool TavoCameraImpl::expose(const tavo::Region& region, double seconds) {
    switch (type) {
    case BASIN_CAMERA: return exposeBasin(region, seconds);
    case RIDGE_CAMERA: return exposeRidge(region, seconds);
    case HERON_CAMERA: return exposeHeron(region, seconds);
    case GLINT_CAMERA: return exposeGlint(region, seconds);
    case LUMEN_CAMERA: return exposeLumen(region, seconds);
    }
    return false;
}

// Unlike the other form it frees no lock that it has not taken, and a running exposure is left
// alone.
bool TavoCameraImpl::readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned xBin,
                             unsigned yBin, double seconds) {
    trace::enter("TavoCameraImpl::readCCD(%d, %d, %d, %d, %d, %d, %f)", x, y, width, height, xBin,
                 yBin, seconds);
    readoutPending = false;
    const tavo::Region region{x, y, width, height, xBin, yBin};
    if (!regionAllowed(region)) {
        trace::leave("TavoCameraImpl::readCCD 00");
        return refuse(message::kInvalidParameter);
    }
    lock();
    lengthenTimeout();
    if (type == GLINT_CAMERA) {
        if (const char* refusal = glintRefusal(region, seconds)) {
            unlock(); // and no text: the reason stands in the trace alone
            trace::leave("TavoCameraImpl::readCCD 00 - %s", refusal);
            return false;
        }
    }
    const bool ok = finishRequest(expose(region, seconds));
    trace::leave("TavoCameraImpl::readCCD %d", ok);
    return ok;
}
