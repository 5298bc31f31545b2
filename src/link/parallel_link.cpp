// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The parallel bus between the USB controller and the sensor electronics.
#include "core/trace.h"
#include "link/bytes.h"
#include "link/controller_requests.h"
#include "link/gpif_tables.h"
#include "tavocameraimpl.h"

#include <algorithm>

namespace trace = tavo::trace;
namespace request = tavo::request;

namespace {
constexpr unsigned kOutEndpoint = 0x02;
constexpr unsigned kInEndpoint = 0x88;
} // namespace

// The unit is the controller's.
bool TavoCameraImpl::setParTimeout(unsigned timeout) {
    trace::enter("TavoCameraImpl::setParTimeout(%d)", timeout);
    const bool ok = bulkTransfer(request::kTimeout, false, request::kTimeoutOfParallelLink, timeout,
                                 0, nullptr, nullptr, 0, 0);
    trace::leave("TavoCameraImpl::setParTimeout %d", ok);
    return ok;
}

bool TavoCameraImpl::parInit(const unsigned char* table) {
    trace::enter("TavoCameraImpl::parInit(...)");
    const bool ok = bulkTransfer(request::kParallelInit, true, 0, 0, 0, table, nullptr,
                                 tavo::tableLength(table[0]), 0);
    trace::leave("TavoCameraImpl::parInit %d", ok);
    return ok;
}

bool TavoCameraImpl::parInit(unsigned mode) {
    trace::enter("TavoCameraImpl::parInit(%d)", mode);
    bool ok = false;
    if (mode == 1)
        ok = parInit(tavo::GpifMode1.data());
    else if (mode == 9)
        ok = parInit(tavo::GpifMode9.data());
    trace::leave("TavoCameraImpl::parInit %d", ok);
    return ok;
}

// The link delivers one byte more than was asked for, which is dropped. What a failed read brought
// is copied too; the caller learns of the failure from the result.
bool TavoCameraImpl::parIn(unsigned char* buffer, unsigned length) {
    const auto received = tavo::zeroedBuffer(std::size_t{length} + 1);
    if (!received)
        return false;
    if (!bulkTransfer(request::kParallelIn, false, 0, length >> 16, length & 0xFFFF, nullptr,
                      nullptr, 0, 0))
        return false;
    const bool ok = bulkRead(kInEndpoint, length + 1, received.get());
    std::copy_n(received.get(), length, buffer);
    return ok;
}

bool TavoCameraImpl::parOut(const unsigned char* buffer, unsigned length) {
    return bulkWrite(kOutEndpoint, length, buffer) &&
           bulkTransfer(request::kParallelOut, true, 0, 0, 0, nullptr, nullptr, 0, 0);
}
