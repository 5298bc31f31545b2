// SPDX-License-Identifier: LGPL-2.1-or-later
#include "accessories/filter_wheel_codec.h"
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr unsigned kGetWheel = 135;
constexpr unsigned kSetFilter = 136;

void report(const tavo::WheelStatus& status, unsigned* filterCount, bool* moving, unsigned* current,
            unsigned* target) {
    if (filterCount) {
        *filterCount = status.filterCount;
        trace::inside("filter count: %d", *filterCount);
    }
    if (moving) {
        *moving = status.moving;
        trace::inside("moving: %d", *moving);
    }
    if (current) {
        *current = status.current;
        trace::inside("current: %d", *current);
    }
    if (target) {
        *target = status.target;
        trace::inside("target: %d", *target);
    }
}

} // namespace

bool TavoCameraImpl::queryWheel(WheelDecoder decode, tavo::WheelStatus* status) {
    tavo::WheelReply reply{};
    const bool ok = query(kGetWheel, reply);
    *status = decode(reply);
    return ok;
}

bool TavoCameraImpl::readWheel(tavo::WheelStatus* status) {
    switch (type) {
    case RIDGE_CAMERA: return queryWheel(tavo::decodeRidgeWheel, status);
    case LUMEN_CAMERA: return queryWheel(tavo::decodeLumenWheel, status);
    case BASIN_CAMERA:
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

bool TavoCameraImpl::getFilterWheelStatus(unsigned* filterCount, bool* moving, unsigned* current,
                                          unsigned* target) {
    trace::enter("TavoCameraImpl::getFilterWheelStatus(...)");
    if (!hasFilterWheel) {
        trace::leave("TavoCameraImpl::getFilterWheelStatus 00");
        return refuse(message::kUnsupported);
    }
    lock();
    tavo::WheelStatus status{};
    const bool ok = readWheel(&status);
    if (ok)
        report(status, filterCount, moving, current, target);
    unlock();
    if (!ok)
        refuse(message::kFilterWheelStatusFailed);
    trace::leave("TavoCameraImpl::getFilterWheelStatus %d", ok);
    return ok;
}

// Whether there is such a position is for the camera to say: it acknowledges with a zero.
bool TavoCameraImpl::sendFilter(unsigned position) {
    unsigned char reply[2] = {};
    bool ok = false, accepted = false;
    switch (type) {
    case RIDGE_CAMERA:
        ok = sendCommand(kSetFilter, static_cast<unsigned short>(position), reply, sizeof reply);
        accepted = reply[0] != 0;
        break;
    case LUMEN_CAMERA: {
        const auto payload = tavo::Payload<2>{}.u8(0).u8(position).done();
        ok = sendCommand(kSetFilter, payload.data(), reply, payload.size(), sizeof reply);
        accepted = tavo::getInt16(reply, 0) != 0;
        break;
    }
    case BASIN_CAMERA:
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    if (ok && !accepted)
        trace::inside("failed to set filter");
    return ok && accepted;
}

bool TavoCameraImpl::setFilter(unsigned position) {
    trace::enter("TavoCameraImpl::setFilter(%d)", position);
    if (!hasFilterWheel) {
        trace::leave("TavoCameraImpl::setFilter 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = sendFilter(position);
    unlock();
    if (!ok)
        refuse(message::kSetFilterFailed);
    trace::leave("TavoCameraImpl::setFilter %d", ok);
    return ok;
}
