// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/trace.h"
#include "link/controller_requests.h"
#include "link/port_codec.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;
namespace request = tavo::request;

bool TavoCameraImpl::sendPortDirection(const tavo::PortChange& change) {
    const auto payload = tavo::encodePortDirection(change);
    return bulkTransfer(request::kPortDirection, false, 0, 0, 0, payload.data(), nullptr,
                        payload.size(), 0);
}

bool TavoCameraImpl::sendPortState(const tavo::PortChange& change) {
    const auto payload = tavo::encodePortState(change);
    return bulkTransfer(request::kPortState, false, 0, 0, 0, payload.data(), nullptr,
                        payload.size(), 0);
}

bool TavoCameraImpl::setPortDirection(unsigned port, unsigned direction) {
    trace::enter("TavoCameraImpl::setPortDirection(%d, %d)", port, direction);
    const bool ok = sendPortDirection({port, 0x00, static_cast<std::uint8_t>(direction)});
    trace::leave("TavoCameraImpl::setPortDirection %d", ok);
    return ok;
}

bool TavoCameraImpl::setPortState(unsigned port, unsigned state) {
    trace::enter("TavoCameraImpl::setPortState(%d, %d)", port, state);
    const bool ok = sendPortState({port, 0x00, static_cast<std::uint8_t>(state)});
    trace::leave("TavoCameraImpl::setPortState %d", ok);
    return ok;
}

bool TavoCameraImpl::setIODir(unsigned line, unsigned output) {
    trace::enter("TavoCameraImpl::setIODir(%d, %d)", line, output);
    const bool ok = sendPortDirection(tavo::lineChange(line, output != 0));
    trace::leave("TavoCameraImpl::setIODir %d", ok);
    return ok;
}

bool TavoCameraImpl::setIOState(unsigned line, unsigned level) {
    trace::enter("TavoCameraImpl::setIOState(%d, %d)", line, level);
    const bool ok = sendPortState(tavo::lineChange(line, level != 0));
    trace::leave("TavoCameraImpl::setIOState %d", ok);
    return ok;
}

bool TavoCameraImpl::getIOState(unsigned line, unsigned* state) {
    trace::enter("TavoCameraImpl::getIOState(%d, ...)", line);
    std::array<std::uint8_t, tavo::kPortCount> ports{};
    const bool ok =
        bulkTransfer(request::kReadPorts, false, 0, 0, 0, nullptr, ports.data(), 0, ports.size());
    if (ok)
        *state = tavo::lineState(ports, line);
    trace::leave("TavoCameraImpl::getIOState %d %d", ok, *state);
    return ok;
}
