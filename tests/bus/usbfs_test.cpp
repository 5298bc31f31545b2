// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The device node itself, without libusb: what libusb never asks for, and errors it hides.
#include "bus_fixture.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tavo::bustest {
namespace {

class UsbfsTest : public testing::Test {
protected:
    void SetUp() override {
        bus.plug(makeLoopback());
        file = open("/dev/bus/usb/001/002", O_RDWR | O_CLOEXEC);
        ASSERT_GE(file, 0);
    }
    void TearDown() override { close(file); }

    // 0 or the errno.
    int call(unsigned long request, void* argument = nullptr) const {
        return ioctl(file, request, argument) < 0 ? errno : 0;
    }
    int makeReady() const {
        unsigned interface = 0;
        const int error = call(USBDEVFS_CLAIMINTERFACE, &interface);
        usbdevfs_setinterface setting{0, 1};
        return error != 0 ? error : call(USBDEVFS_SETINTERFACE, &setting);
    }
    bool canReap() const {
        pollfd waiting{file, POLLOUT, 0};
        return poll(&waiting, 1, 0) == 1;
    }
    int armSource(std::uint16_t count) const {
        usbdevfs_ctrltransfer request{0x40, kArmSource, count, 0, 0, 1000, nullptr};
        return call(USBDEVFS_CONTROL, &request);
    }

    virtualusb::Bus bus;
    int file = -1;
};

usbdevfs_urb bulkBlock(std::uint8_t endpoint, Bytes& buffer, unsigned flags = 0) {
    usbdevfs_urb block; // no braces: it ends in an array of unknown size
    std::memset(&block, 0, sizeof block);
    block.type = USBDEVFS_URB_TYPE_BULK;
    block.endpoint = endpoint;
    block.flags = flags;
    block.buffer = buffer.data();
    block.buffer_length = static_cast<int>(buffer.size());
    block.status = 99;
    return block;
}

TEST_F(UsbfsTest, ReadGivesTheDescriptors) {
    Bytes all(500);
    EXPECT_EQ(read(file, all.data(), 20), 20);
    EXPECT_EQ(all[0], 18);
    EXPECT_EQ(all[18], 9);
    EXPECT_EQ(read(file, all.data(), all.size()), static_cast<ssize_t>(kDescriptorSize - 20));
    EXPECT_EQ(read(file, all.data(), all.size()), 0);
    EXPECT_EQ(write(file, all.data(), 1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(UsbfsTest, KnowsItsPlace) {
    usbdevfs_connectinfo info{};
    EXPECT_EQ(call(USBDEVFS_CONNECTINFO, &info), 0);
    EXPECT_EQ(info.devnum, 2u);
    EXPECT_EQ(info.slow, 0);
    EXPECT_EQ(ioctl(file, USBDEVFS_GET_SPEED), 3);
}

TEST_F(UsbfsTest, TakesLargeTransfersInOnePiece) {
    std::uint32_t capabilities = 0;
    EXPECT_EQ(call(USBDEVFS_GET_CAPABILITIES, &capabilities), 0);
    EXPECT_TRUE(capabilities & USBDEVFS_CAP_BULK_SCATTER_GATHER);
    EXPECT_TRUE(capabilities & USBDEVFS_CAP_NO_PACKET_SIZE_LIM);
    EXPECT_TRUE(capabilities & USBDEVFS_CAP_BULK_CONTINUATION);
    EXPECT_FALSE(capabilities & USBDEVFS_CAP_MMAP) << "the node cannot be mapped";
}

TEST_F(UsbfsTest, UnknownRequestsAndNullPointersAreRefused) {
    EXPECT_EQ(call(USBDEVFS_WAIT_FOR_RESUME), ENOTTY);
    EXPECT_EQ(call(USBDEVFS_CLAIMINTERFACE, nullptr), EFAULT);
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, nullptr), EFAULT);
    EXPECT_EQ(call(USBDEVFS_REAPURBNDELAY, nullptr), EFAULT);
    unsigned interface = 77;
    EXPECT_EQ(call(USBDEVFS_CLAIMINTERFACE, &interface), EINVAL);
    EXPECT_EQ(call(USBDEVFS_RELEASEINTERFACE, &interface), EINVAL);
}

TEST_F(UsbfsTest, DriverOfAnInterface) {
    usbdevfs_getdriver driver{};
    EXPECT_EQ(call(USBDEVFS_GETDRIVER, &driver), ENODATA);
    usbdevfs_ioctl detach{0, static_cast<int>(USBDEVFS_DISCONNECT), nullptr};
    EXPECT_EQ(call(USBDEVFS_IOCTL, &detach), ENODATA);
    ASSERT_EQ(makeReady(), 0);
    EXPECT_EQ(call(USBDEVFS_GETDRIVER, &driver), 0);
    EXPECT_STREQ(driver.driver, "usbfs");
    usbdevfs_disconnect_claim claim{0, USBDEVFS_DISCONNECT_CLAIM_EXCEPT_DRIVER, "usbfs"};
    EXPECT_EQ(call(USBDEVFS_DISCONNECT_CLAIM, &claim), EBUSY);
    EXPECT_EQ(call(USBDEVFS_IOCTL, &detach), 0);
    EXPECT_EQ(call(USBDEVFS_GETDRIVER, &driver), ENODATA);
}

TEST_F(UsbfsTest, ConfigurationCannotChangeUnderAClaim) {
    unsigned configuration = 1;
    EXPECT_EQ(call(USBDEVFS_SETCONFIGURATION, &configuration), 0);
    ASSERT_EQ(makeReady(), 0);
    EXPECT_EQ(call(USBDEVFS_SETCONFIGURATION, &configuration), EBUSY);
    configuration = 2;
    EXPECT_EQ(call(USBDEVFS_SETCONFIGURATION, &configuration), EINVAL);
}

TEST_F(UsbfsTest, TransfersThatWait) {
    ASSERT_EQ(makeReady(), 0);
    Bytes data{5, 6, 7};
    usbdevfs_bulktransfer out{kEchoOut, 3, 1000, data.data()};
    EXPECT_EQ(ioctl(file, USBDEVFS_BULK, &out), 3);
    Bytes received(8);
    usbdevfs_bulktransfer in{kEchoIn, 8, 1000, received.data()};
    EXPECT_EQ(ioctl(file, USBDEVFS_BULK, &in), 3);
    EXPECT_EQ(received[2], 7);
    in.timeout = 20;
    EXPECT_EQ(call(USBDEVFS_BULK, &in), ETIMEDOUT);
    in.ep = kRefusedIn;
    EXPECT_EQ(call(USBDEVFS_BULK, &in), EPIPE);
    usbdevfs_ctrltransfer silent{0xc0, kSilent, 0, 0, 2, 20, received.data()};
    EXPECT_EQ(call(USBDEVFS_CONTROL, &silent), ETIMEDOUT);
    usbdevfs_ctrltransfer state{0xc0, kReadState, 0, 0, 2, 1000, received.data()};
    EXPECT_EQ(ioctl(file, USBDEVFS_CONTROL, &state), 2);
    EXPECT_EQ(received[0], 1);
}

TEST_F(UsbfsTest, NodeIsReadyOnlyWhileThereIsSomethingToReap) {
    EXPECT_FALSE(canReap());
    ASSERT_EQ(makeReady(), 0);
    EXPECT_FALSE(canReap());
    Bytes received(8);
    usbdevfs_urb block = bulkBlock(kEchoIn, received);
    ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    EXPECT_FALSE(canReap());
    void* reaped = nullptr;
    EXPECT_EQ(call(USBDEVFS_REAPURBNDELAY, &reaped), EAGAIN);
    Bytes data{5, 6, 7};
    usbdevfs_bulktransfer out{kEchoOut, 3, 1000, data.data()};
    ASSERT_EQ(ioctl(file, USBDEVFS_BULK, &out), 3);
    EXPECT_TRUE(canReap());
    EXPECT_EQ(call(USBDEVFS_REAPURBNDELAY, &reaped), 0);
    EXPECT_EQ(reaped, &block);
    EXPECT_EQ(block.status, 0);
    EXPECT_EQ(block.actual_length, 3);
    EXPECT_EQ(block.buffer, received.data());
    EXPECT_EQ(received[1], 6);
    EXPECT_FALSE(canReap());
}

TEST_F(UsbfsTest, DiscardedBlockIsReapedAsCancelled) {
    ASSERT_EQ(makeReady(), 0);
    Bytes received(8);
    usbdevfs_urb block = bulkBlock(kLateIn, received);
    EXPECT_EQ(call(USBDEVFS_DISCARDURB, &block), EINVAL);
    ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    EXPECT_EQ(call(USBDEVFS_DISCARDURB, &block), 0);
    EXPECT_TRUE(canReap());
    void* reaped = nullptr;
    EXPECT_EQ(call(USBDEVFS_REAPURBNDELAY, &reaped), 0);
    EXPECT_EQ(reaped, &block);
    EXPECT_EQ(block.status, -ENOENT);
    EXPECT_EQ(call(USBDEVFS_DISCARDURB, &block), EINVAL);
}

TEST_F(UsbfsTest, ReleaseCancelsWhatIsPending) {
    ASSERT_EQ(makeReady(), 0);
    Bytes received(8);
    usbdevfs_urb block = bulkBlock(kLateIn, received);
    ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    unsigned interface = 0;
    EXPECT_EQ(call(USBDEVFS_RELEASEINTERFACE, &interface), 0);
    void* reaped = nullptr;
    EXPECT_EQ(call(USBDEVFS_REAPURBNDELAY, &reaped), 0);
    EXPECT_EQ(block.status, -ENOENT);
}

TEST_F(UsbfsTest, BlockingReapWaitsForTheDevice) {
    ASSERT_EQ(makeReady(), 0);
    usbdevfs_ctrltransfer arm{0x40, kArmLate, 40, 0, 0, 1000, nullptr};
    ASSERT_EQ(call(USBDEVFS_CONTROL, &arm), 0);
    Bytes received(8);
    usbdevfs_urb block = bulkBlock(kLateIn, received);
    ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    void* reaped = nullptr;
    EXPECT_EQ(call(USBDEVFS_REAPURB, &reaped), 0);
    EXPECT_EQ(reaped, &block);
    EXPECT_EQ(received[0], 0x5a);
}

TEST_F(UsbfsTest, MalformedBlocksAreRefused) {
    ASSERT_EQ(makeReady(), 0);
    Bytes buffer(16);
    usbdevfs_urb block = bulkBlock(kEchoIn, buffer);
    block.buffer_length = -1;
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL);
    block = bulkBlock(kEchoIn, buffer);
    block.buffer = nullptr;
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL);
    block = bulkBlock(kEchoIn, buffer);
    block.buffer_length = 0x7fffffff;
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), ENOMEM);
    block = bulkBlock(kEchoIn, buffer);
    block.type = USBDEVFS_URB_TYPE_ISO;
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL);
    block = bulkBlock(kEchoIn, buffer, 0x8000);
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL);
    block = bulkBlock(0, buffer);
    block.type = USBDEVFS_URB_TYPE_CONTROL;
    buffer = {0x40, kStore, 0, 0, 0, 0, 9, 0, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL) << "a byte less than wLength says";
    block.buffer_length = 7;
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &block), EINVAL);
}

TEST_F(UsbfsTest, ShortAnswerEndsASplitTransfer) {
    ASSERT_EQ(makeReady(), 0);
    std::array<Bytes, 3> buffers{Bytes(512), Bytes(512), Bytes(512)};
    const unsigned next = USBDEVFS_URB_BULK_CONTINUATION;
    std::array<usbdevfs_urb, 3> blocks{
        bulkBlock(kSourceIn, buffers[0], USBDEVFS_URB_SHORT_NOT_OK),
        bulkBlock(kSourceIn, buffers[1], USBDEVFS_URB_SHORT_NOT_OK | next),
        bulkBlock(kSourceIn, buffers[2], next)};
    for (usbdevfs_urb& block : blocks)
        ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    ASSERT_EQ(armSource(542), 0);
    for (usbdevfs_urb& block : blocks) {
        void* reaped = nullptr;
        ASSERT_EQ(call(USBDEVFS_REAPURBNDELAY, &reaped), 0);
        EXPECT_EQ(reaped, &block);
    }
    EXPECT_EQ(blocks[0].status, 0);
    EXPECT_EQ(blocks[0].actual_length, 512);
    EXPECT_EQ(blocks[1].status, -EREMOTEIO);
    EXPECT_EQ(blocks[1].actual_length, 30);
    EXPECT_EQ(buffers[1][29], sourceByte(541));
    EXPECT_EQ(blocks[2].status, -ECONNRESET);
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &blocks[2]), EREMOTEIO) << "a late part of the old one";
    EXPECT_EQ(call(USBDEVFS_SUBMITURB, &blocks[0]), 0) << "the start of a new one";
}

TEST_F(UsbfsTest, ClosedFileLeavesNothingPending) {
    ASSERT_EQ(makeReady(), 0);
    Bytes received(8);
    usbdevfs_urb block = bulkBlock(kEchoIn, received);
    ASSERT_EQ(call(USBDEVFS_SUBMITURB, &block), 0);
    close(file);
    file = open("/dev/bus/usb/001/002", O_RDWR | O_CLOEXEC);
    ASSERT_GE(file, 0);
    int error = EBUSY;
    for (int i = 0; i < 500 && error == EBUSY; ++i) {
        error = makeReady();
        if (error == EBUSY)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(error, 0);
    Bytes data{9};
    usbdevfs_bulktransfer out{kEchoOut, 1, 1000, data.data()};
    ASSERT_EQ(ioctl(file, USBDEVFS_BULK, &out), 1);
    EXPECT_FALSE(canReap());
    usbdevfs_bulktransfer in{kEchoIn, 8, 1000, received.data()};
    EXPECT_EQ(ioctl(file, USBDEVFS_BULK, &in), 1);
}

} // namespace
} // namespace tavo::bustest
