// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Transfers through libusb.
#include "bus_fixture.h"

namespace tavo::bustest {
namespace {

class TransferTest : public BusTest {
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

    void expectEcho() {
        Bytes sent = counting(100);
        const auto out = bulk(handle, kEchoOut, sent);
        EXPECT_EQ(out.error, 0);
        EXPECT_EQ(out.count, 100);
        Bytes received(100);
        const auto in = bulk(handle, kEchoIn, received);
        EXPECT_EQ(in.error, 0);
        EXPECT_EQ(in.count, 100);
        EXPECT_EQ(received, sent);
    }

    int haltOf(std::uint8_t endpoint) {
        Bytes status(2, 0xff);
        const int count = libusb_control_transfer(handle.get(), 0x82, LIBUSB_REQUEST_GET_STATUS, 0,
                                                  endpoint, status.data(), 2, kPatience);
        return count == 2 ? status[0] : -1;
    }

    Handle handle;
};

TEST_F(TransferTest, ControlDataComesBack) {
    EXPECT_EQ(command(handle, kStore, 0, counting(64)), 64);
    Bytes received(64);
    EXPECT_EQ(query(handle, kStore, received), 64);
    EXPECT_EQ(received, counting(64));
}

TEST_F(TransferTest, ControlAnswerMayBeShort) {
    EXPECT_EQ(command(handle, kStore, 0, counting(3)), 3);
    Bytes received(8, 0xaa);
    EXPECT_EQ(query(handle, kStore, received), 3);
    EXPECT_EQ(received, (Bytes{1, 2, 3, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa}));
}

TEST_F(TransferTest, ControlWithoutData) {
    EXPECT_EQ(command(handle, kArmLate, 1), 0);
}

TEST_F(TransferTest, RefusedControlIsPipeError) {
    EXPECT_EQ(command(handle, 0x77), LIBUSB_ERROR_PIPE);
    expectEcho();
}

TEST_F(TransferTest, TooLongControlAnswerIsOverflowAndCut) {
    Bytes received(6, 0);
    EXPECT_EQ(query(handle, kTooMuch, received), LIBUSB_ERROR_OVERFLOW);
}

TEST_F(TransferTest, SilentControlTimesOut) {
    Bytes received(2);
    EXPECT_EQ(query(handle, kSilent, received, 30), LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(query(handle, kReadState, received), 2);
    EXPECT_EQ(received, (Bytes{1, 0}));
}

TEST_F(TransferTest, Echo) {
    expectEcho();
}

TEST_F(TransferTest, EmptyPacketPasses) {
    Bytes nothing;
    EXPECT_EQ(bulk(handle, kEchoOut, nothing).error, 0);
    Bytes received(16);
    const auto in = bulk(handle, kEchoIn, received);
    EXPECT_EQ(in.error, 0);
    EXPECT_EQ(in.count, 0);
}

TEST_F(TransferTest, ShortAnswerEndsARead) {
    Bytes sent = counting(10);
    EXPECT_EQ(bulk(handle, kEchoOut, sent).error, 0);
    Bytes received(1000, 0xaa);
    const auto in = bulk(handle, kEchoIn, received);
    EXPECT_EQ(in.error, 0);
    EXPECT_EQ(in.count, 10);
    EXPECT_EQ(Bytes(received.begin(), received.begin() + 10), sent);
    EXPECT_EQ(received[10], 0xaa);
}

TEST_F(TransferTest, LongAnswerIsReadInWholePackets) {
    Bytes sent = counting(1030);
    EXPECT_EQ(bulk(handle, kEchoOut, sent).error, 0);
    Bytes first(512);
    Bytes second(518);
    EXPECT_EQ(bulk(handle, kEchoIn, first).count, 512);
    const auto rest = bulk(handle, kEchoIn, second);
    EXPECT_EQ(rest.error, 0) << "room for exactly what is there";
    EXPECT_EQ(rest.count, 518);
    EXPECT_EQ(second[517], sent[1029]);
}

TEST_F(TransferTest, PacketLongerThanTheRoomForItIsOverflow) {
    Bytes sent = counting(10);
    EXPECT_EQ(bulk(handle, kEchoOut, sent).error, 0);
    Bytes received(4, 0xaa);
    const auto in = bulk(handle, kEchoIn, received);
    EXPECT_EQ(in.error, LIBUSB_ERROR_OVERFLOW);
    EXPECT_EQ(in.count, 0);
    EXPECT_EQ(received, Bytes(4, 0xaa));
    EXPECT_EQ(bulk(handle, kEchoIn, received, 20).error, LIBUSB_ERROR_TIMEOUT)
        << "the packet is lost";
}

TEST_F(TransferTest, WholePacketsBeforeAnOverflowArrive) {
    Bytes sent = counting(1024);
    EXPECT_EQ(bulk(handle, kEchoOut, sent).error, 0);
    Bytes received(600);
    const auto in = bulk(handle, kEchoIn, received);
    EXPECT_EQ(in.error, LIBUSB_ERROR_OVERFLOW);
    EXPECT_EQ(in.count, 512);
    EXPECT_EQ(received[511], sent[511]);
    EXPECT_EQ(received[512], 0);
}

TEST_F(TransferTest, RefusingEndpointStaysHaltedUntilCleared) {
    ASSERT_EQ(command(handle, kRefuseOnce), 0);
    Bytes data{1, 2, 3, 4};
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_PIPE) << "would work now";
    EXPECT_EQ(bulk(handle, kEchoIn, data, 20).error, LIBUSB_ERROR_TIMEOUT) << "another endpoint";
    EXPECT_EQ(haltOf(kEchoOut), 1);
    EXPECT_EQ(libusb_clear_halt(handle.get(), kEchoOut), 0);
    EXPECT_EQ(haltOf(kEchoOut), 0);
    expectEcho();
    Bytes state(3);
    EXPECT_EQ(query(handle, kReadState, state), 3);
    EXPECT_EQ(state[2], 1) << "the device has been told";
}

TEST_F(TransferTest, NewSettingEndsAHalt) {
    ASSERT_EQ(command(handle, kRefuseOnce), 0);
    Bytes data{1};
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_PIPE);
    ASSERT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 1), 0);
    expectEcho();
}

TEST_F(TransferTest, ResetEndsAHalt) {
    ASSERT_EQ(command(handle, kRefuseOnce), 0);
    Bytes data{1};
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_PIPE);
    ASSERT_EQ(libusb_reset_device(handle.get()), 0);
    ASSERT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 1), 0);
    expectEcho();
}

TEST_F(TransferTest, HostMayHaltAnEndpointByRequest) {
    EXPECT_EQ(libusb_control_transfer(handle.get(), 0x02, 3, 0, kEchoOut, nullptr, 0, kPatience),
              0);
    Bytes data{1};
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_control_transfer(handle.get(), 0x02, 1, 0, kEchoOut, nullptr, 0, kPatience),
              0);
    expectEcho();
}

TEST_F(TransferTest, RefusedBulkIsPipeError) {
    Bytes data(4);
    EXPECT_EQ(bulk(handle, kRefusedOut, data).error, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(bulk(handle, kRefusedIn, data).error, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_clear_halt(handle.get(), kRefusedIn), 0);
    expectEcho();
}

TEST_F(TransferTest, SilentReadTimesOutAndTheDeviceStaysUsable) {
    Bytes data(4);
    const auto in = bulk(handle, kLateIn, data, 30);
    EXPECT_EQ(in.error, LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(in.count, 0);
    EXPECT_EQ(bulk(handle, kEchoIn, data, 30).error, LIBUSB_ERROR_TIMEOUT);
    // A discarded read must not take what comes later.
    expectEcho();
}

TEST_F(TransferTest, LateAnswerArrivesWithinTheTimeout) {
    ASSERT_EQ(command(handle, kArmLate, 60), 0);
    Bytes data(4);
    const auto in = bulk(handle, kLateIn, data);
    EXPECT_EQ(in.error, 0);
    EXPECT_EQ(in.count, 1);
    EXPECT_EQ(data[0], 0x5a);
}

TEST_F(TransferTest, LateAnswerMissedByOneReadIsThereForTheNext) {
    ASSERT_EQ(command(handle, kArmLate, 100), 0);
    Bytes data(4);
    EXPECT_EQ(bulk(handle, kLateIn, data, 10).error, LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(bulk(handle, kLateIn, data).count, 1);
}

TEST_F(TransferTest, WaitingReadsAreServedInOrderByALaterWrite) {
    Pending first{Bytes(8)};
    Pending second{Bytes(8)};
    const auto firstTransfer = startRead(handle, kEchoIn, first);
    const auto secondTransfer = startRead(handle, kEchoIn, second);
    Bytes one{1};
    Bytes two{2, 2};
    EXPECT_EQ(bulk(handle, kEchoOut, one).error, 0);
    EXPECT_EQ(bulk(handle, kEchoOut, two).error, 0);
    while (!first.done || !second.done)
        ASSERT_EQ(libusb_handle_events(context), 0);
    EXPECT_EQ(first.status, LIBUSB_TRANSFER_COMPLETED);
    EXPECT_EQ(first.count, 1);
    EXPECT_EQ(first.data[0], 1);
    EXPECT_EQ(second.status, LIBUSB_TRANSFER_COMPLETED);
    EXPECT_EQ(second.count, 2);
    EXPECT_EQ(second.data[0], 2);
}

TEST_F(TransferTest, CancelledReadReportsSo) {
    Pending pending{Bytes(8)};
    const auto transfer = startRead(handle, kLateIn, pending);
    EXPECT_EQ(libusb_cancel_transfer(transfer.get()), 0);
    while (!pending.done)
        ASSERT_EQ(libusb_handle_events(context), 0);
    EXPECT_EQ(pending.status, LIBUSB_TRANSFER_CANCELLED);
}

TEST_F(TransferTest, LargeWriteIsComplete) {
    Bytes sent = counting(3 << 20);
    EXPECT_EQ(bulk(handle, kEchoOut, sent).count, 3 << 20);
    Bytes received(sent.size());
    EXPECT_EQ(bulk(handle, kEchoIn, received).count, 3 << 20);
    EXPECT_TRUE(received == sent);
}

TEST_F(TransferTest, ReadEndsShortWhereTheDataEnd) {
    ASSERT_EQ(command(handle, kArmSource, 100'000), 0);
    Bytes data(200'000);
    const auto in = bulk(handle, kSourceIn, data);
    EXPECT_EQ(in.error, 0);
    EXPECT_EQ(in.count, 100'000);
    EXPECT_EQ(bulk(handle, kSourceIn, data, 20).error, LIBUSB_ERROR_TIMEOUT);
}

} // namespace
} // namespace tavo::bustest
