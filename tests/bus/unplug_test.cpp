// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Devices that go and come back.
#include "bus_fixture.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tavo::bustest {
namespace {

constexpr std::uint32_t kForEver = 0xffff;
constexpr unsigned kFirstNumber = 2;

// The numbers of the loopback devices that a new context finds.
std::vector<int> numbersNow() {
    std::vector<int> numbers;
    libusb_context* fresh = nullptr;
    if (libusb_init(&fresh) != 0)
        return {-1};
    libusb_device** devices = nullptr;
    const auto count = libusb_get_device_list(fresh, &devices);
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor descriptor{};
        libusb_get_device_descriptor(devices[i], &descriptor);
        if (descriptor.idVendor == kVendor)
            numbers.push_back(libusb_get_device_address(devices[i]));
    }
    libusb_free_device_list(devices, 1);
    libusb_exit(fresh);
    return numbers;
}

class UnplugTest : public BusTest {
protected:
    void SetUp() override {
        BusTest::SetUp();
        handle = openReady();
        ASSERT_TRUE(handle);
    }
    void TearDown() override {
        handle.reset();
        BusTest::TearDown();
    }

    bool awaitReturn() {
        for (int i = 0; i < 500; ++i) {
            if (numbersNow() == std::vector<int>{kFirstNumber + 1})
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    Handle handle;
};

TEST_F(UnplugTest, EverythingPendingEnds) {
    Pending first{Bytes(8)};
    Pending second{Bytes(8)};
    const auto firstTransfer = startRead(handle, kLateIn, first);
    const auto secondTransfer = startRead(handle, kEchoIn, second);
    EXPECT_TRUE(bus.unplug(kFirstNumber));
    while (!first.done || !second.done)
        ASSERT_EQ(libusb_handle_events(context), 0);
    EXPECT_EQ(first.status, LIBUSB_TRANSFER_NO_DEVICE);
    EXPECT_EQ(second.status, LIBUSB_TRANSFER_NO_DEVICE);
}

TEST_F(UnplugTest, FurtherRequestsFindNoDevice) {
    bus.unplug(kFirstNumber);
    Bytes data(4);
    EXPECT_EQ(query(handle, kReadState, data), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(libusb_release_interface(handle.get(), 0), LIBUSB_ERROR_NO_DEVICE);
    // libusb says NOT_FOUND for a lost device until it has learnt of its leaving.
    const int reset = libusb_reset_device(handle.get());
    EXPECT_TRUE(reset == LIBUSB_ERROR_NO_DEVICE || reset == LIBUSB_ERROR_NOT_FOUND) << reset;
}

TEST_F(UnplugTest, DeviceLeavesTheListAndCanBePluggedInAgain) {
    auto device = bus.unplug(kFirstNumber);
    EXPECT_TRUE(numbersNow().empty());
    EXPECT_THROW(bus.unplug(kFirstNumber), std::invalid_argument);
    EXPECT_THROW(bus.unplug(1), std::invalid_argument) << "the root hub";
    EXPECT_EQ(bus.plug(std::move(device)), kFirstNumber + 1);
    EXPECT_EQ(numbersNow(), std::vector<int>{kFirstNumber + 1});
}

TEST_F(UnplugTest, OpenFileStaysDeadAfterTheReturn) {
    bus.plug(bus.unplug(kFirstNumber));
    Bytes state(3);
    EXPECT_EQ(query(handle, kReadState, state), LIBUSB_ERROR_NO_DEVICE);
    libusb_context* fresh = nullptr;
    ASSERT_EQ(libusb_init(&fresh), 0);
    {
        const Handle again(libusb_open_device_with_vid_pid(fresh, kVendor, kProduct));
        ASSERT_TRUE(again);
        EXPECT_EQ(query(again, kReadState, state), 3);
    }
    libusb_exit(fresh);
}

TEST_F(UnplugTest, DeviceThatIsGoneByItselfLeavesTheList) {
    Pending pending{Bytes(8)};
    const auto transfer = startRead(handle, kEchoIn, pending);
    EXPECT_EQ(command(handle, kUnplug, kForEver), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_TRUE(numbersNow().empty()) << "before the request has ended";
    while (!pending.done)
        ASSERT_EQ(libusb_handle_events(context), 0);
    EXPECT_EQ(pending.status, LIBUSB_TRANSFER_NO_DEVICE);
}

TEST_F(UnplugTest, DeviceComesBackResetUnderANewNumber) {
    EXPECT_EQ(command(handle, kUnplug, 100), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_TRUE(numbersNow().empty());
    ASSERT_TRUE(awaitReturn());
    handle.reset();
    libusb_exit(context);
    ASSERT_EQ(libusb_init(&context), 0);
    handle = openReady();
    ASSERT_TRUE(handle) << "it is listed, so it is there";
    Bytes state(2);
    EXPECT_EQ(query(handle, kReadState, state), 2);
    EXPECT_EQ(state, (Bytes{1, 1}));
    Bytes data{1, 2};
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, 0);
    EXPECT_EQ(bulk(handle, kEchoIn, data).error, 0);
}

TEST_F(UnplugTest, BulkReadMayFindItGone) {
    ASSERT_EQ(command(handle, kUnplugOnRead, kForEver), 0);
    Bytes data(8);
    EXPECT_EQ(bulk(handle, kLateIn, data).error, LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(bulk(handle, kLateIn, data).error, LIBUSB_ERROR_NO_DEVICE);
}

// What libusb's hotplug events have told.
struct Hotplug {
    int arrived = 0;
    int left = 0;

    static int note(libusb_context*, libusb_device*, libusb_hotplug_event event, void* self) {
        auto* told = static_cast<Hotplug*>(self);
        ++(event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? told->arrived : told->left);
        return 0;
    }
};

TEST_F(UnplugTest, HotplugEventsReachAProgramThatOnlyWaits) {
    Hotplug told;
    ASSERT_EQ(libusb_hotplug_register_callback(
                  context, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
                  0, kVendor, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, Hotplug::note,
                  &told, nullptr),
              0);
    auto device = bus.unplug(kFirstNumber);
    timeval soon{0, 20'000};
    for (int i = 0; i < 250 && told.left == 0; ++i)
        libusb_handle_events_timeout(context, &soon);
    EXPECT_EQ(told.left, 1);
    bus.plug(std::move(device));
    for (int i = 0; i < 250 && told.arrived == 0; ++i)
        libusb_handle_events_timeout(context, &soon);
    EXPECT_EQ(told.arrived, 1);
}

class UnpluggedFileTest : public testing::Test {
protected:
    void SetUp() override {
        bus.plug(makeLoopback());
        file = open("/dev/bus/usb/001/002", O_RDWR | O_CLOEXEC);
        ASSERT_GE(file, 0);
        usbdevfs_setinterface setting{0, 1};
        ASSERT_EQ(ioctl(file, USBDEVFS_SETINTERFACE, &setting), 0);
    }
    void TearDown() override { close(file); }

    int reap(unsigned long request, usbdevfs_urb*& block) const {
        void* pointer = nullptr;
        const int error = ioctl(file, request, &pointer) < 0 ? errno : 0;
        block = static_cast<usbdevfs_urb*>(pointer);
        return error;
    }
    bool wakes(int patience) const {
        pollfd waiting{file, POLLOUT, 0};
        return poll(&waiting, 1, patience) == 1;
    }

    virtualusb::Bus bus;
    int file = -1;
    Bytes buffer = Bytes(8);
    usbdevfs_urb* reaped = nullptr;
};

TEST_F(UnpluggedFileTest, WhatIsFinishedCanBeReaped) {
    usbdevfs_urb block; // no braces: it ends in an array of unknown size
    std::memset(&block, 0, sizeof block);
    block.type = USBDEVFS_URB_TYPE_BULK;
    block.endpoint = kEchoIn;
    block.buffer = buffer.data();
    block.buffer_length = static_cast<int>(buffer.size());
    ASSERT_EQ(ioctl(file, USBDEVFS_SUBMITURB, &block), 0);
    bus.unplug(kFirstNumber);
    EXPECT_TRUE(wakes(0));
    EXPECT_EQ(ioctl(file, USBDEVFS_DISCARDURB, &block), -1);
    EXPECT_EQ(errno, ENODEV);
    usbdevfs_setinterface setting{0, 1};
    EXPECT_EQ(ioctl(file, USBDEVFS_SETINTERFACE, &setting), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(reap(USBDEVFS_REAPURBNDELAY, reaped), 0);
    EXPECT_EQ(reaped, &block);
    EXPECT_EQ(block.status, -ESHUTDOWN);
    EXPECT_EQ(reap(USBDEVFS_REAPURBNDELAY, reaped), ENODEV);
    EXPECT_EQ(reap(USBDEVFS_REAPURB, reaped), ENODEV);
    EXPECT_EQ(read(file, buffer.data(), 8), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(UnpluggedFileTest, ProgramThatWaitsIsWokenOnce) {
    EXPECT_FALSE(wakes(0));
    std::thread hand([this] { bus.unplug(kFirstNumber); });
    EXPECT_TRUE(wakes(5000));
    hand.join();
    EXPECT_EQ(reap(USBDEVFS_REAPURBNDELAY, reaped), ENODEV);
    EXPECT_FALSE(wakes(0)) << "or it would go round and round";
}

TEST_F(UnpluggedFileTest, BlockedReapEnds) {
    std::thread hand([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        bus.unplug(kFirstNumber);
    });
    EXPECT_EQ(reap(USBDEVFS_REAPURB, reaped), ENODEV);
    hand.join();
}

TEST_F(UnpluggedFileTest, BlockedTransferEnds) {
    std::thread hand([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        bus.unplug(kFirstNumber);
    });
    usbdevfs_bulktransfer in{kLateIn, 8, 0, buffer.data()};
    EXPECT_EQ(ioctl(file, USBDEVFS_BULK, &in), -1);
    EXPECT_EQ(errno, ESHUTDOWN);
    hand.join();
}

} // namespace
} // namespace tavo::bustest
