// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Devices that unplug themselves.
#include "server_fixture.h"

#include <cerrno>

#include <sys/socket.h>

namespace tavo::usbiptest {
namespace {

using usbip::OperationStatus;

class UnplugTest : public ServerTest {
protected:
    // Imports 1-1, unplugs it by the second of its two requests and takes what comes of it.
    void unplug(std::uint16_t milliseconds) {
        Client client = imported();
        const auto waiting = client.submitIn(kEcho, 8);
        EXPECT_EQ(client.control(vendorOut(kUnplug, milliseconds)).status, 0);
        EXPECT_EQ(client.answer(), (Answer{waiting, false, -ESHUTDOWN, {}, 0}));
        EXPECT_TRUE(client.isHungUp());
        ASSERT_TRUE(log.waitFor("1-1 was unplugged"));
    }
};

TEST_F(UnplugTest, PendingRequestsEndAndTheConnectionIsClosed) {
    unplug(kForEver);
}

TEST_F(UnplugTest, AllPendingRequestsAreAnsweredInOrder) {
    Client client = imported();
    const auto first = client.submitIn(kEcho, 8);
    const auto second = client.submitIn(kEcho, 8);
    client.control(vendorOut(kUnplug, kForEver));
    EXPECT_EQ(client.answer(), (Answer{first, false, -ESHUTDOWN, {}, 0}));
    EXPECT_EQ(client.answer(), (Answer{second, false, -ESHUTDOWN, {}, 0}));
    EXPECT_TRUE(client.isHungUp());
}

TEST_F(UnplugTest, RequestThatFindsTheDeviceGoneIsAnsweredToo) {
    Client client = imported();
    client.control(vendorOut(kUnplug, kForEver));
    EXPECT_EQ(client.out(kEcho, {1}).status, -ESHUTDOWN);
    EXPECT_TRUE(client.isHungUp());
}

TEST_F(UnplugTest, ChoiceOfASettingFindsTheDeviceGone) {
    Client client = imported();
    client.control(vendorOut(kUnplug, kForEver));
    EXPECT_EQ(client.control(setInterface(0)).status, -ESHUTDOWN);
    EXPECT_TRUE(client.isHungUp());
}

TEST_F(UnplugTest, DeviceThatStaysAwayIsNotAvailable) {
    unplug(kForEver);
    EXPECT_EQ(connect().import("1-1"), OperationStatus::notAvailable);
    const auto records = connect().list();
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 1u);
    EXPECT_EQ(records->front().busId, "1-2");
    EXPECT_EQ(connect().import("1-2"), OperationStatus::ok);
}

TEST_F(UnplugTest, DeviceThatComesBackIsResetAndAvailable) {
    unplug(50);
    ASSERT_TRUE(log.waitFor("1-1 is plugged in again"));
    Client client = imported();
    EXPECT_EQ(resetsOf(client), 1u);
    client.out(kEcho, {1});
    EXPECT_EQ(client.in(kEcho, 8).data, Bytes{1});
}

TEST(Unplug, DeviceThatComesBackIsServedToWhomeverTheHandlerNames) {
    std::vector<std::unique_ptr<virtualusb::Device>> devices;
    devices.push_back(makeEchoDevice());
    std::array<int, 4> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data() + 2), 0);
    usbip::Server server(std::move(devices), [](const std::string&) {});
    server.serve("1-1", usbip::FileDescriptor(ends[0]));
    server.whenReturned([&](const usbip::DeviceRecord& record) {
        EXPECT_EQ(record.busId, "1-1");
        return usbip::FileDescriptor(ends[2]);
    });
    server.start();
    Client before{usbip::FileDescriptor(ends[1])};
    before.assume(1, 2);
    before.control(vendorOut(kUnplug, 10));
    EXPECT_EQ(before.control(vendorIn(kState, 2)).status, -ESHUTDOWN);
    EXPECT_TRUE(before.isHungUp());
    Client after{usbip::FileDescriptor(ends[3])};
    after.assume(1, 2);
    EXPECT_EQ(after.control(vendorIn(kState, 2)).data, (Bytes{0, 1}));
}

} // namespace
} // namespace tavo::usbiptest
