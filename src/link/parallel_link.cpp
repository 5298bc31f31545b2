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

// The link delivers one byte more than was asked for, which is dropped: so the transfer that brings
// it goes through a buffer of its own, and all before it straight to the caller. Room for that one
// is found before the camera is asked.
bool TavoCameraImpl::parIn(unsigned char* buffer, unsigned length) {
    const unsigned all = length + 1;
    const unsigned mostAtOnce = nextReadLength(all);
    const std::size_t lastLength = mostAtOnce == 0 ? all : mostAtOnce;
    const auto last = tavo::zeroedBuffer(lastLength);
    if (!last)
        return false;
    return requestParallel(length) && readParallel({buffer, length}, {last.get(), lastLength});
}

bool TavoCameraImpl::requestParallel(unsigned length) {
    return bulkTransfer(request::kParallelIn, false, 0, length >> 16, length & 0xFFFF, nullptr,
                        nullptr, 0, 0);
}

// For callers that have room for the byte too many: nothing is copied.
bool TavoCameraImpl::parInWithLastByte(unsigned char* buffer, unsigned length) {
    return requestParallel(length) && bulkRead(kInEndpoint, length + 1, buffer);
}

// What a failed read does not bring is zeroed; the caller learns of the failure from the result.
bool TavoCameraImpl::readParallel(std::span<std::uint8_t> data, std::span<std::uint8_t> last) {
    bool ok = true;
    for (unsigned left = static_cast<unsigned>(data.size()) + 1; ok && left > 0;) {
        unsigned wanted = nextReadLength(left);
        const bool isLast = wanted == left;
        if (isLast)
            wanted = std::min(wanted, static_cast<unsigned>(last.size()));
        unsigned moved = 0;
        ok = bulkReadOnce(kInEndpoint, wanted, isLast ? last.data() : data.data(), &moved);
        const std::size_t kept = std::min<std::size_t>(moved, data.size());
        if (isLast)
            std::copy_n(last.begin(), kept, data.begin());
        data = data.subspan(kept);
        left -= moved;
    }
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    return ok;
}

bool TavoCameraImpl::parOut(const unsigned char* buffer, unsigned length) {
    return bulkWrite(kOutEndpoint, length, buffer) &&
           bulkTransfer(request::kParallelOut, true, 0, 0, 0, nullptr, nullptr, 0, 0);
}
