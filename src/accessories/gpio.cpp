// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/messages.h"
#include "core/trace.h"
#include "link/bytes.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {
constexpr unsigned kReadLines = 130;
constexpr unsigned kSetDirections = 131;
constexpr unsigned kSetLines = 132;
} // namespace

bool TavoCameraImpl::sendLines(unsigned command, std::uint16_t lines) {
    switch (type) {
    case RIDGE_CAMERA: return sendCommand(command, lines);
    case LUMEN_CAMERA: {
        const auto payload = tavo::Payload<2>{}.u16be(lines).done();
        return sendCommand(command, payload.data(), nullptr, payload.size(), 0);
    }
    case BASIN_CAMERA:
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

// The lines are stored whether or not the command succeeded.
bool TavoCameraImpl::readLines(std::uint16_t* lines) {
    unsigned char reply[4] = {};
    bool ok = false;
    switch (type) {
    case RIDGE_CAMERA:
        ok = query(kReadLines, reply);
        *lines = tavo::u16le(reply + 2);
        return ok;
    case LUMEN_CAMERA:
        ok = query(kReadLines, reply);
        *lines = static_cast<std::uint16_t>(tavo::getInt16(reply, 2));
        return ok;
    case BASIN_CAMERA:
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

bool TavoCameraImpl::setGPIODirection(unsigned short mask) {
    trace::enter("TavoCameraImpl::setGPIODirection(0x%04x)", mask);
    if (!hasGPIO) {
        trace::leave("TavoCameraImpl::setGPIODirection 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = sendLines(kSetDirections, mask);
    unlock();
    if (!ok)
        refuse(message::kGPIODirectionFailed);
    trace::leave("TavoCameraImpl::setGPIODirection %d", ok);
    return ok;
}

bool TavoCameraImpl::getGPIO(unsigned short* value) {
    trace::enter("TavoCameraImpl::getGPIO(...)");
    if (!hasGPIO) {
        trace::leave("TavoCameraImpl::getGPIO 00");
        return refuse(message::kUnsupported);
    }
    std::uint16_t lines = value ? *value : std::uint16_t{0};
    lock();
    const bool ok = readLines(&lines);
    unlock();
    if (value)
        *value = lines;
    if (!ok)
        refuse(message::kGetGPIOFailed);
    trace::leave("TavoCameraImpl::getGPIO %d -> 0x%04x", ok, lines);
    return ok;
}

bool TavoCameraImpl::setGPIO(unsigned short lines) {
    trace::enter("TavoCameraImpl::setGPIO(0x%04x)", lines);
    if (!hasGPIO) {
        trace::leave("TavoCameraImpl::setGPIO 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = sendLines(kSetLines, lines);
    unlock();
    if (!ok)
        refuse(message::kSetGPIOFailed);
    trace::leave("TavoCameraImpl::setGPIO %d", ok);
    return ok;
}
