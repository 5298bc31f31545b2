// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Ending a long exposure and asking for a window. On success the camera's lock stays held: the
// image that waits must be fetched before anything else is said to the camera.
#include "exposure/readout_codec.h"

#include "core/clock.h"
#include "core/families.h"
#include "core/messages.h"
#include "core/trace.h"
#include "exposure/commands.h"
#include "tavocameraimpl.h"

namespace command = tavo::command;
namespace heron = tavo::heron;
namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

// These two need a longer patience on the parallel link while an image is fetched.
constexpr tavo::PerFamily<bool> kLengthensTimeout{
    .basin = false, .ridge = true, .heron = true, .glint = false, .lumen = false};
constexpr unsigned kReadoutTimeout = 30000; // milliseconds

constexpr long kBasinPause = 2000000; // microseconds; delay() takes it off
constexpr unsigned kHeronEndExposure = 0x4A0;
constexpr unsigned kHeronReadoutTime = 1000;

} // namespace

tavo::ReadoutModes TavoCameraImpl::readoutModes() const {
    return {.preview = previewMode, .eightBit = eightBitMode, .darkFrame = darkFrameMode};
}

bool TavoCameraImpl::regionAllowed(const tavo::Region& region) const {
    return tavo::regionAllowed(
        region, {.pixelCountX = pixelCountX, .maxBinX = maxBinX, .maxBinY = maxBinY});
}

void TavoCameraImpl::storeRegion(const tavo::Region& region) {
    readX = region.x;
    readY = region.y;
    readWidth = region.width;
    readHeight = region.height;
    readXBin = region.xBin;
    readYBin = region.yBin;
}

void TavoCameraImpl::lengthenTimeout() {
    if (kLengthensTimeout.get(type, false) && !setParTimeout(kReadoutTimeout))
        trace::inside("set timeout 30000 failed");
}

bool TavoCameraImpl::requestBasin(const tavo::Region& region) {
    if (!sendCommand(command::kEndExposureBasin))
        return false;
    tavo::sleepms(kBasinPause);
    const auto payload = tavo::basinReadout(region, readoutModes());
    return sendCommand(command::kGate, 1) && sendReadout(payload);
}

bool TavoCameraImpl::requestRidge(const tavo::Region& region) {
    bool ok = sendCommand(command::kGate, 1);
    if (hasShutter)
        ok = ok && moveShutter(false);
    return ok && sendReadout(tavo::ridgeReadout(region, readoutModes()));
}

bool TavoCameraImpl::requestHeron(const tavo::Region& region) {
    const tavo::Stopwatch stopwatch;
    // Twice, as the electronics want it; the write after them decides.
    spiWrite(heron::kBinning, heron::binning(region.xBin, region.yBin));
    spiWrite(heron::kBinning, heron::binning(region.xBin, region.yBin));
    bool ok = spiWrite(heron::kControl, guideRelayState | kHeronEndExposure);
    if (!startOption)
        tavo::sleepms(quickerReadCCDDelay);
    ok = ok && spiWrite(heron::kTime, kHeronReadoutTime);
    storeRegion(region);
    trace::inside("elapsed %g s", stopwatch.seconds());
    return ok;
}

bool TavoCameraImpl::requestLumen(const tavo::Region& region) {
    return sendReadout(tavo::lumenReadout(region, readoutModes()));
}

bool TavoCameraImpl::sendReadout(std::span<const std::uint8_t> payload) {
    return sendCommand(command::kReadout, payload.data(), nullptr,
                       static_cast<unsigned>(payload.size()), 0);
}

bool TavoCameraImpl::requestReadout(const tavo::Region& region) {
    switch (type) {
    case BASIN_CAMERA: return requestBasin(region);
    case RIDGE_CAMERA: return requestRidge(region);
    case HERON_CAMERA: return requestHeron(region);
    case GLINT_CAMERA: return refuseLongExposure();
    case LUMEN_CAMERA: return requestLumen(region);
    }
    return false;
}

// Both forms end here: the lock is kept for getImage, or let go.
bool TavoCameraImpl::finishRequest(bool ok) {
    if (ok) {
        readoutPending = true;
        return true;
    }
    unlock();
    return refuse(message::kReadCCDFailed);
}

bool TavoCameraImpl::readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned xBin,
                             unsigned yBin) {
    trace::enter("TavoCameraImpl::readCCD(%d, %d, %d, %d, %d, %d)", x, y, width, height, xBin,
                 yBin);
    if (!exposureStarted.exchange(false)) {
        trace::leave("TavoCameraImpl::readCCD 00");
        return refuse(message::kOutOfSequence);
    }
    readoutPending = false;
    const tavo::Region region{x, y, width, height, xBin, yBin};
    if (!regionAllowed(region)) {
        // Frees the lock without having taken it: so applications recover from a lost getImage.
        unlock();
        trace::leave("TavoCameraImpl::readCCD 00");
        return refuse(message::kInvalidParameter);
    }
    lock();
    lengthenTimeout();
    const bool ok = finishRequest(requestReadout(region));
    trace::leave("TavoCameraImpl::readCCD %d", ok);
    return ok;
}
