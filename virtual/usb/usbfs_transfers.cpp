// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The requests of a device file that move data: submitted blocks that are reaped later, and
// transfers that a call waits for.
#include "usbfs_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include <linux/usbdevice_fs.h>

namespace tavo::virtualusb {
namespace {

constexpr std::size_t kSetupSize = 8;

// Bounds one transfer, when the limit for all of them is lifted.
constexpr std::size_t kLongestTransfer = std::size_t{256} << 20;

constexpr std::size_t kBufferPointer = offsetof(usbdevfs_urb, buffer);

std::uint16_t littleEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

SetupPacket setupFrom(std::span<const std::uint8_t> bytes) {
    return {bytes[0], bytes[1], littleEndian16(bytes, 2), littleEndian16(bytes, 4),
            littleEndian16(bytes, 6)};
}

void copyOut(Transfer& transfer, std::span<const std::uint8_t> data) {
    transfer.out.assign(data.begin(), data.end());
}

} // namespace

Transfer UsbfsFile::newTransfer() const {
    Transfer transfer;
    transfer.file = number;
    return transfer;
}

UsbfsFile::MaybeAnswer UsbfsFile::submit(const Call&, const ClientMemory& block) {
    const auto request = block.read<usbdevfs_urb>();
    constexpr unsigned understood = USBDEVFS_URB_SHORT_NOT_OK | USBDEVFS_URB_BULK_CONTINUATION |
                                    USBDEVFS_URB_NO_FSBR | USBDEVFS_URB_ZERO_PACKET |
                                    USBDEVFS_URB_NO_INTERRUPT;
    if ((request.flags & ~understood) != 0 || request.buffer_length < 0 ||
        (request.buffer_length > 0 && !request.buffer))
        return failure(EINVAL);
    const auto length = static_cast<std::size_t>(request.buffer_length);
    if (length > kLongestTransfer)
        return failure(ENOMEM);

    Transfer transfer = newTransfer();
    transfer.tag = block.address();
    transfer.endpoint = request.endpoint;
    transfer.shortIsError = (request.flags & USBDEVFS_URB_SHORT_NOT_OK) != 0;
    transfer.continuation = (request.flags & USBDEVFS_URB_BULK_CONTINUATION) != 0;
    Urb urb{block, std::nullopt, memory.reserve(length), 0, {}};
    if (!urb.memory)
        return failure(ENOMEM);
    int error = EINVAL;
    if (request.type == USBDEVFS_URB_TYPE_CONTROL)
        error = fillControl(transfer, urb, length);
    else if (request.type == USBDEVFS_URB_TYPE_BULK || request.type == USBDEVFS_URB_TYPE_INTERRUPT)
        error = fillBulk(transfer, urb, length);
    if (error != 0)
        return failure(error);
    transfer.finished = [this, urb = std::move(urb)](Transfer& over) { complete(urb, over); };
    return failure(port.submit(std::move(transfer)));
}

int UsbfsFile::fillControl(Transfer& transfer, Urb& urb, std::size_t length) {
    if ((transfer.endpoint & 0x7f) != 0 || length < kSetupSize)
        return EINVAL;
    urb.buffer = urb.block.follow(kBufferPointer, length);
    if (!urb.buffer)
        return EFAULT;
    const auto bytes = urb.buffer->bytes();
    transfer.control = true;
    transfer.setup = setupFrom(bytes);
    transfer.length = transfer.setup.length;
    if (length < kSetupSize + transfer.length)
        return EINVAL;
    if (!towardsHost(transfer))
        copyOut(transfer, bytes.subspan(kSetupSize, transfer.length));
    urb.dataOffset = kSetupSize;
    return 0;
}

int UsbfsFile::fillBulk(Transfer& transfer, const Urb& urb, std::size_t length) {
    transfer.length = static_cast<std::uint32_t>(length);
    if (towardsHost(transfer) || length == 0)
        return 0;
    const auto buffer = urb.block.follow(kBufferPointer, length);
    if (!buffer)
        return EFAULT;
    copyOut(transfer, buffer->bytes());
    return 0;
}

UsbfsFile::MaybeAnswer UsbfsFile::discard(const Call&, const ClientMemory& argument) {
    return failure(port.discard(number, argument.read<std::uint64_t>()));
}

void UsbfsFile::complete(Urb urb, Transfer& transfer) {
    urb.in = std::move(transfer.in);
    urb.block.write(transfer.status, offsetof(usbdevfs_urb, status));
    urb.block.write(static_cast<int>(transfer.moved), offsetof(usbdevfs_urb, actual_length));
    finished.push_back(std::move(urb));
    if (const auto waiting = std::exchange(blockedReap, std::nullopt))
        if (const auto pointer = waiting->argument.follow(0, sizeof(void*)))
            waiting->answer(handOver(*pointer));
}

UsbfsFile::MaybeAnswer UsbfsFile::reap(const Call& call, const ClientMemory& pointer) {
    if (!finished.empty())
        return handOver(pointer);
    blockedReap = call;
    return std::nullopt;
}

UsbfsFile::MaybeAnswer UsbfsFile::reapNoDelay(const Call&, const ClientMemory& pointer) {
    return finished.empty() ? failure(EAGAIN) : handOver(pointer);
}

// REQUIRES: something is finished.
Answer UsbfsFile::handOver(const ClientMemory& pointer) {
    const Urb urb = std::move(finished.front());
    finished.pop_front();
    if (!urb.in.empty()) {
        const auto buffer =
            urb.buffer ? urb.buffer : urb.block.follow(kBufferPointer, urb.in.size());
        if (!buffer)
            return failure(EFAULT);
        std::copy(urb.in.begin(), urb.in.end(), buffer->bytes().subspan(urb.dataOffset).begin());
    }
    pointer.pointAt(0, urb.block);
    return {};
}

UsbfsFile::MaybeAnswer UsbfsFile::controlAtOnce(const Call& call, const ClientMemory& argument) {
    const auto request = argument.read<usbdevfs_ctrltransfer>();
    Transfer transfer = newTransfer();
    transfer.control = true;
    transfer.setup = {request.bRequestType, request.bRequest, request.wValue, request.wIndex,
                      request.wLength};
    transfer.length = request.wLength;
    return submitAndWait(call, argument, offsetof(usbdevfs_ctrltransfer, data), std::move(transfer),
                         request.timeout);
}

UsbfsFile::MaybeAnswer UsbfsFile::bulkAtOnce(const Call& call, const ClientMemory& argument) {
    const auto request = argument.read<usbdevfs_bulktransfer>();
    if (request.ep > 0xff)
        return failure(EINVAL);
    if (request.len > kLongestTransfer)
        return failure(ENOMEM);
    Transfer transfer = newTransfer();
    transfer.endpoint = static_cast<std::uint8_t>(request.ep);
    transfer.length = request.len;
    return submitAndWait(call, argument, offsetof(usbdevfs_bulktransfer, data), std::move(transfer),
                         request.timeout);
}

UsbfsFile::MaybeAnswer UsbfsFile::submitAndWait(const Call& call, const ClientMemory& argument,
                                                std::size_t dataPointer, Transfer transfer,
                                                std::uint32_t timeout) {
    auto share = memory.reserve(transfer.length);
    if (!share)
        return failure(ENOMEM);
    if (transfer.length > 0 && !towardsHost(transfer)) {
        const auto data = argument.follow(dataPointer, transfer.length);
        if (!data)
            return failure(EFAULT);
        copyOut(transfer, data->bytes());
    }
    // A time-out of zero waits for ever.
    if (timeout != 0)
        transfer.deadline = Clock::now() + std::chrono::milliseconds(timeout);
    transfer.finished = [call, argument, dataPointer, share = std::move(share)](Transfer& over) {
        if (over.status != 0)
            return call.answer(failure(-over.status));
        if (!over.in.empty()) {
            const auto data = argument.follow(dataPointer, over.in.size());
            if (!data)
                return call.answer(failure(EFAULT));
            std::copy(over.in.begin(), over.in.end(), data->bytes().begin());
        }
        call.answer({static_cast<long>(over.moved), 0});
    };
    const int error = port.submit(std::move(transfer));
    return error == 0 ? std::nullopt : MaybeAnswer(failure(error));
}

} // namespace tavo::virtualusb
