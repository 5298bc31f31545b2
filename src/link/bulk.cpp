// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/trace.h"
#include "link/frame.h"
#include "tavocameraimpl.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace trace = tavo::trace;

namespace {

constexpr unsigned kRequestEndpoint = 0x04;
constexpr unsigned kReplyEndpoint = 0x86;
constexpr unsigned kFlushTimeout = 100;       // milliseconds
constexpr unsigned kHeronFlushBlock = 200000; // bytes

// Numbers the framed requests of all cameras; only a label.
std::atomic<std::uint32_t> transactionNumber{0};

// A closed camera fails as one that was unplugged, without asking libusb about a null handle.
constexpr const char* kNoDevice = "LIBUSB_ERROR_NO_DEVICE";

} // namespace

// How much of `left` bytes one transfer may ask for. With a maxPacketSize of 0 or less nothing is
// asked for, until the device fails.
unsigned TavoCameraImpl::nextReadLength(unsigned left) const {
    constexpr std::int64_t kMost = std::numeric_limits<int>::max();
    const std::int64_t most = std::min<std::int64_t>(maxPacketSize, left);
    return static_cast<unsigned>(std::clamp<std::int64_t>(most, 0, kMost));
}

// One transfer. `moved` is told of a failed one, too.
bool TavoCameraImpl::bulkReadOnce(unsigned endpoint, unsigned length, unsigned char* data,
                                  unsigned* moved) {
    *moved = 0;
    if (!handle) {
        trace::inside("libusb_bulk_transfer -> %s", kNoDevice);
        return false;
    }
    const int wanted = static_cast<int>(length);
    int transferred = 0;
    const int r = libusb_bulk_transfer(handle, static_cast<unsigned char>(endpoint), data, wanted,
                                       &transferred, bulkTimeout);
    *moved = static_cast<unsigned>(std::clamp(transferred, 0, wanted));
    if (r < 0)
        trace::inside("libusb_bulk_transfer -> %s", libusb_error_name(r));
    return r >= 0;
}

// A short transfer is no error: the loop asks for the rest.
bool TavoCameraImpl::bulkRead(unsigned endpoint, unsigned length, unsigned char* data) {
    while (length > 0) {
        unsigned moved = 0;
        if (!bulkReadOnce(endpoint, nextReadLength(length), data, &moved))
            return false;
        data += moved;
        length -= moved;
    }
    return true;
}

bool TavoCameraImpl::bulkWrite(unsigned endpoint, unsigned length, const unsigned char* data) {
    if (!handle) {
        trace::inside("libusb_bulk_transfer -> %s ", kNoDevice);
        return false;
    }
    int transferred = 0;
    const int r = libusb_bulk_transfer(handle, static_cast<unsigned char>(endpoint),
                                       const_cast<unsigned char*>(data), static_cast<int>(length),
                                       &transferred, bulkTimeout);
    if (r < 0)
        trace::inside("libusb_bulk_transfer -> %s ", libusb_error_name(r));
    return r >= 0;
}

bool TavoCameraImpl::bulkTransfer(unsigned code, bool replyPhase, unsigned subCode, unsigned paramA,
                                  unsigned paramB, const unsigned char* out, unsigned char* in,
                                  unsigned outLength, unsigned inLength) {
    const auto request = tavo::zeroedBuffer(std::size_t{outLength} + tavo::kFrameHeaderLength);
    if (!request)
        return false;
    const auto header =
        tavo::encodeFrameHeader({code, transactionNumber.fetch_add(1, std::memory_order_relaxed),
                                 replyPhase, subCode, paramA, paramB, inLength, outLength});
    std::copy(header.begin(), header.end(), request.get());
    std::copy_n(out, outLength, request.get() + header.size());

    // Room for the reply is found before the camera is asked: one that nobody reads would be taken
    // for the next.
    const bool answered = inLength > 0 || replyPhase;
    const auto reply =
        answered ? tavo::zeroedBuffer(std::size_t{inLength} + tavo::kFrameReplyExtra) : nullptr;
    if (answered && !reply)
        return false;
    if (!bulkWrite(kRequestEndpoint, outLength + tavo::kFrameHeaderLength, request.get()))
        return false;
    if (!answered)
        return true;
    if (!bulkRead(kReplyEndpoint, inLength + tavo::kFrameReplyExtra, reply.get()))
        return false;
    std::copy_n(reply.get() + tavo::kFrameReplyLead, inLength, in);
    return true;
}

// Discards what the camera still has queued. Ends at the first read that finds nothing.
void TavoCameraImpl::flush() {
    trace::enter("TavoCameraImpl::flush()");
    bulkTimeout = kFlushTimeout;
    long flushed = 0;
    if (type == HERON_CAMERA) {
        const auto block = tavo::zeroedBuffer(kHeronFlushBlock);
        while (block && parIn(block.get(), kHeronFlushBlock))
            flushed += kHeronFlushBlock;
    }
    unsigned char single = 0;
    while (parIn(&single, 1))
        ++flushed;
    trace::inside("%ld bytes flushed", flushed);
    // The process-wide value, not the one this camera was made with.
    bulkTimeout = static_cast<std::uint32_t>(TavoHostBulkTimeout);
    trace::leave("TavoCameraImpl::flush");
}
