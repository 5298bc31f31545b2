// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A bus with loopback devices, and libusb on it.
#pragma once

#include "loopback_device.h"
#include "usb/bus.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <memory>
#include <numeric>
#include <vector>

namespace tavo::bustest {

using virtualusb::Bytes;

struct CloseHandle {
    void operator()(libusb_device_handle* handle) const { libusb_close(handle); }
};
using Handle = std::unique_ptr<libusb_device_handle, CloseHandle>;

inline constexpr unsigned kPatience = 5000; // milliseconds; only a fault makes anyone wait so long

class BusTest : public testing::Test {
protected:
    BusTest() = default;
    explicit BusTest(const virtualusb::BusOptions& options) : bus(options) {}
    void SetUp() override {
        bus.plug(makeLoopback());
        ASSERT_EQ(libusb_init(&context), 0);
    }
    void TearDown() override { libusb_exit(context); }

    Handle open(std::uint16_t product = kProduct) {
        return Handle(libusb_open_device_with_vid_pid(context, kVendor, product));
    }
    Handle openReady(std::uint16_t product = kProduct) {
        Handle handle = open(product);
        if (handle && (libusb_claim_interface(handle.get(), 0) != 0 ||
                       libusb_set_interface_alt_setting(handle.get(), 0, 1) != 0))
            handle.reset();
        return handle;
    }

    virtualusb::Bus bus;
    libusb_context* context = nullptr;
};

struct Moved {
    int error;
    int count;
};

inline Moved bulk(const Handle& handle, std::uint8_t endpoint, Bytes& data,
                  unsigned timeout = kPatience) {
    int count = 0;
    const int error = libusb_bulk_transfer(handle.get(), endpoint, data.data(),
                                           static_cast<int>(data.size()), &count, timeout);
    return {error, count};
}

inline int command(const Handle& handle, std::uint8_t request, std::uint32_t argument = 0,
                   Bytes data = {}) {
    return libusb_control_transfer(handle.get(), 0x40, request,
                                   static_cast<std::uint16_t>(argument & 0xffff),
                                   static_cast<std::uint16_t>(argument >> 16), data.data(),
                                   static_cast<std::uint16_t>(data.size()), kPatience);
}

inline int query(const Handle& handle, std::uint8_t request, Bytes& data,
                 unsigned timeout = kPatience) {
    return libusb_control_transfer(handle.get(), 0xc0, request, 0, 0, data.data(),
                                   static_cast<std::uint16_t>(data.size()), timeout);
}

struct Pending {
    Bytes data;
    int status = -1;
    int count = 0;
    int done = 0;

    static void finish(libusb_transfer* transfer) {
        auto* self = static_cast<Pending*>(transfer->user_data);
        self->status = transfer->status;
        self->count = transfer->actual_length;
        self->done = 1;
    }
};

struct FreeTransfer {
    void operator()(libusb_transfer* transfer) const { libusb_free_transfer(transfer); }
};
using TransferPointer = std::unique_ptr<libusb_transfer, FreeTransfer>;

inline TransferPointer startRead(const Handle& handle, std::uint8_t endpoint, Pending& pending) {
    TransferPointer transfer(libusb_alloc_transfer(0));
    libusb_fill_bulk_transfer(transfer.get(), handle.get(), endpoint, pending.data.data(),
                              static_cast<int>(pending.data.size()), Pending::finish, &pending,
                              kPatience);
    EXPECT_EQ(libusb_submit_transfer(transfer.get()), 0);
    return transfer;
}

inline Bytes counting(std::size_t size) {
    Bytes data(size);
    std::iota(data.begin(), data.end(), std::uint8_t{1});
    return data;
}

} // namespace tavo::bustest
