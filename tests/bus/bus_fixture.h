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

inline Bytes counting(std::size_t size) {
    Bytes data(size);
    std::iota(data.begin(), data.end(), std::uint8_t{1});
    return data;
}

} // namespace tavo::bustest
