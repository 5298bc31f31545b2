// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <array>
#include <numeric>

namespace tavo::test {
namespace {

class BulkTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

TEST_F(BulkTest, ReadIsCutIntoPackets) {
    peer.maxPacketSize() = 4;
    usb().expect({in(0x83, {1, 2, 3, 4}), in(0x83, {5, 6, 7, 8}), in(0x83, {9, 10})});
    std::array<unsigned char, 10> data{};
    EXPECT_TRUE(peer.bulkRead(0x83U, 10U, data.data()));
    EXPECT_EQ(data, (std::array<unsigned char, 10>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_F(BulkTest, ShortReadAsksForTheRest) {
    peer.maxPacketSize() = 4;
    usb().expect({in(0x83, {1, 2, 3, 4}).moving(3), in(0x83, {4, 5, 6}).moving(0),
                  in(0x83, {4, 5, 6}).moving(1), in(0x83, {5, 6})});
    std::array<unsigned char, 6> data{};
    EXPECT_TRUE(peer.bulkRead(0x83U, 6U, data.data()));
    EXPECT_EQ(data, (std::array<unsigned char, 6>{1, 2, 3, 4, 5, 6}));
}

TEST_F(BulkTest, WholeReadIsOneRequestByDefault) {
    std::vector<unsigned char> data(3000000);
    usb().expect({inZeros(0x81, data.size())});
    EXPECT_TRUE(peer.bulkRead(0x81U, 3000000U, data.data()));
}

TEST_F(BulkTest, ReadOfNothingIsNoTransfer) {
    unsigned char untouched = 7;
    EXPECT_TRUE(peer.bulkRead(0x81U, 0U, &untouched));
    EXPECT_TRUE(usb().calls().empty());
    EXPECT_EQ(untouched, 7);
}

TEST_F(BulkTest, FailedPacketKeepsWhatArrived) {
    peer.maxPacketSize() = 2;
    usb().expect({in(0x81, {1, 2}), in(0x81, {0, 0}).failing(LIBUSB_ERROR_PIPE)});
    std::array<unsigned char, 6> data{9, 9, 9, 9, 9, 9};
    CapturedTrace trace;
    EXPECT_FALSE(peer.bulkRead(0x81U, 6U, data.data()));
    EXPECT_EQ(data, (std::array<unsigned char, 6>{1, 2, 9, 9, 9, 9}));
    EXPECT_EQ(trace.text(), "    libusb_bulk_transfer -> LIBUSB_ERROR_PIPE\n");
    EXPECT_STREQ(camera->getLastError(), "No error");
}

// Nothing bounds the loop: it ends when the device does.
TEST_F(BulkTest, PacketSizeOfNothingAsksForNothingUntilTheDeviceFails) {
    for (const long size : {0L, -5L}) {
        camera->setParam(MAX_PACKET_SIZE, size);
        Rows rows(100, inZeros(0x81, 0));
        rows.push_back(inZeros(0x81, 0).failing(LIBUSB_ERROR_NO_DEVICE));
        usb().expect(rows);
        std::array<unsigned char, 4> data{};
        EXPECT_FALSE(peer.bulkRead(0x81U, 4U, data.data()));
    }
}

TEST_F(BulkTest, TimeoutIsTheCameras) {
    peer.bulkTimeout() = 77;
    const unsigned char sent = 5;
    unsigned char read = 0;
    usb().expect({out(0x02, {5}).within(77), in(0x88, {6}).within(77)});
    EXPECT_TRUE(peer.bulkWrite(0x02U, 1U, &sent));
    EXPECT_TRUE(peer.bulkRead(0x88U, 1U, &read));
    EXPECT_EQ(read, 6);
}

TEST_F(BulkTest, WriteIsOneTransferWhateverThePacketSize) {
    peer.maxPacketSize() = 2;
    const std::array<unsigned char, 5> data{1, 2, 3, 4, 5};
    usb().expect({out(0x02, {1, 2, 3, 4, 5})});
    EXPECT_TRUE(peer.bulkWrite(0x02U, 5U, data.data()));
}

TEST_F(BulkTest, ShortWriteIsNotNoticed) {
    const std::array<unsigned char, 5> data{1, 2, 3, 4, 5};
    usb().expect({out(0x02, {1, 2, 3, 4, 5}).moving(1)});
    EXPECT_TRUE(peer.bulkWrite(0x02U, 5U, data.data()));
}

TEST_F(BulkTest, TraceOfAFailedWriteEndsInABlank) {
    const unsigned char data = 1;
    usb().expect({out(0x02, {1}).failing(LIBUSB_ERROR_TIMEOUT)});
    CapturedTrace trace;
    EXPECT_FALSE(peer.bulkWrite(0x02U, 1U, &data));
    EXPECT_EQ(trace.text(), "    libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT \n");
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(BulkTest, EveryErrorFailsATransfer) {
    for (const Fault& fault : kErrors) {
        unsigned char data = 0;
        usb().failTransfer(1, fault);
        EXPECT_FALSE(peer.bulkRead(0x81U, 1U, &data)) << fault.name;
        usb().failTransfer(1, fault);
        EXPECT_FALSE(peer.bulkWrite(0x02U, 1U, &data)) << fault.name;
    }
}

} // namespace
} // namespace tavo::test
