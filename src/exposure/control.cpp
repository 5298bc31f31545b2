// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Starting and abandoning long exposures, and the shutter.
#include "core/clock.h"
#include "core/messages.h"
#include "core/trace.h"
#include "exposure/commands.h"
#include "tavocameraimpl.h"

namespace command = tavo::command;
namespace heron = tavo::heron;
namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr long kShutterPause = 500000; // microseconds
constexpr long kPingPause = 25000;     // microseconds
constexpr int kMostPingPauses = 400;

} // namespace

// BASIN and RIDGE; the latter also before a timed exposure.
bool TavoCameraImpl::startByCommands() {
    return sendCommand(command::kGate, 0) && sendCommand(command::kClear) &&
           sendCommand(command::kStart);
}

bool TavoCameraImpl::moveShutter(bool open) {
    return sendCommand(command::kShutter, open ? 1 : 0);
}

bool TavoCameraImpl::startRidge() {
    const bool ok = startByCommands();
    if (!ok || !hasShutter)
        return ok;
    tavo::sleepms(kShutterPause);
    return moveShutter(!darkFrameMode);
}

// The pause is made even after a failed write, and only the last two writes decide.
bool TavoCameraImpl::startHeron() {
    const unsigned relays = guideRelayState;
    if (spiWrite(heron::kControl, relays | 0x400 | (startOption ? 0x20u : 0u)))
        spiWrite(heron::kTime, 0);
    tavo::sleepms(quickerStartExposureDelay);
    return spiWrite(heron::kControl, relays | 0x200) && spiWrite(heron::kTime, 0);
}

// The camera is busy clearing its sensor and answers when it is done.
bool TavoCameraImpl::awaitLumen() {
    for (int pauses = 0; !ping(); ++pauses) {
        if (pauses == kMostPingPauses) {
            trace::inside("Waited too long for ping");
            return false;
        }
        tavo::sleepms(kPingPause);
    }
    return true;
}

bool TavoCameraImpl::startLumen() {
    return sendCommand(command::kGate, 0) && sendCommand(command::kClear) && awaitLumen() &&
           sendCommand(command::kStart);
}

bool TavoCameraImpl::refuseLongExposure() {
    trace::inside("long exposures are unsupported with TAVO GLINT");
    return false;
}

bool TavoCameraImpl::beginExposure() {
    switch (type) {
    case BASIN_CAMERA: return startByCommands();
    case RIDGE_CAMERA: return startRidge();
    case HERON_CAMERA: return startHeron();
    case GLINT_CAMERA: return refuseLongExposure();
    case LUMEN_CAMERA: return startLumen();
    }
    return false;
}

bool TavoCameraImpl::startExposure(bool option) {
    trace::enter("TavoCameraImpl::startExposure(%d)", option);
    exposureStarted = false;
    startOption = option;
    lock();
    const bool ok = beginExposure();
    unlock();
    if (ok)
        exposureStarted = true;
    else
        refuse(message::kStartExposureFailed);
    readoutPending = false;
    trace::leave("TavoCameraImpl::startExposure %d", ok);
    return ok;
}

bool TavoCameraImpl::dropExposure() {
    switch (type) {
    case RIDGE_CAMERA: return !hasShutter || moveShutter(false);
    case BASIN_CAMERA:
    case HERON_CAMERA:
    case GLINT_CAMERA:
    case LUMEN_CAMERA: return true;
    }
    return refuse(message::kUnsupported);
}

bool TavoCameraImpl::abortExposure() {
    trace::enter("TavoCameraImpl::abortExposure()");
    lock();
    const bool ok = dropExposure();
    unlock();
    exposureStarted = false;
    readoutPending = false;
    trace::leave("TavoCameraImpl::abortExposure %d", ok);
    return ok;
}

// Traced by a shorter name.
bool TavoCameraImpl::setShutter(bool open) {
    trace::enter("TavoCameraImpl::shutter(%d)", open);
    if (!hasShutter) {
        trace::leave("TavoCameraImpl::shutter 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = type == RIDGE_CAMERA && moveShutter(open);
    unlock();
    if (!ok)
        refuse(message::kSetShutterFailed);
    trace::leave("TavoCameraImpl::shutter %d", ok);
    return ok;
}
