// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/clock.h"
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr unsigned kGuideRegister = 2;
constexpr unsigned kReleaseAll = 24;
constexpr long kRelayPause = 5000; // microseconds

// The two relays of an axis, each with the command that closes it. The first wins.
struct Axis {
    unsigned firstBit, firstCommand;
    unsigned secondBit, secondCommand;
};
constexpr Axis kAxes[] = {{0x01, 20, 0x02, 21}, {0x04, 22, 0x08, 23}};

// The command for one axis of a pattern; 0 where neither relay is wanted.
constexpr unsigned axisCommand(const Axis& axis, unsigned pattern) {
    if ((pattern & axis.firstBit) != 0)
        return axis.firstCommand;
    return (pattern & axis.secondBit) != 0 ? axis.secondCommand : 0;
}

} // namespace

// The state is kept: exposures of this family write the same register.
bool TavoCameraImpl::setRelaysHeron(unsigned pattern) {
    guideRelayState = pattern & 0x0F;
    return spiWrite(kGuideRegister, guideRelayState);
}

bool TavoCameraImpl::setRelaysByCommand(unsigned pattern) {
    bool ok = sendCommand(kReleaseAll);
    for (const Axis& axis : kAxes) {
        const unsigned command = axisCommand(axis, pattern);
        if (!ok || command == 0)
            continue;
        tavo::sleepms(kRelayPause);
        ok = sendCommand(command);
    }
    return ok;
}

bool TavoCameraImpl::setRelays(unsigned pattern) {
    switch (type) {
    case RIDGE_CAMERA:
    case LUMEN_CAMERA: return setRelaysByCommand(pattern);
    case HERON_CAMERA: return setRelaysHeron(pattern);
    case BASIN_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

bool TavoCameraImpl::setGuideRelays(unsigned short pattern) {
    trace::enter("TavoCameraImpl::setGuideRelays(%d)", pattern);
    if (!hasGuidePort) {
        trace::leave("TavoCameraImpl::setGuideRelays 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = setRelays(pattern);
    unlock();
    if (!ok)
        refuse(message::kGuideRelaysFailed);
    trace::leave("TavoCameraImpl::setGuideRelays %d", ok);
    return ok;
}
