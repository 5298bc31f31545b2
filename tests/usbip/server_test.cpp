// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Who may have which device, and when.
#include "server_fixture.h"

#include <optional>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace tavo::usbiptest {
namespace {

using usbip::OperationStatus;

std::vector<std::string> busIds(const std::vector<usbip::DeviceRecord>& records) {
    std::vector<std::string> result;
    for (const auto& record : records)
        result.push_back(record.busId);
    return result;
}

// The server's end of its only connection: server and client are one process here.
int acceptedSocket(const std::string& port) {
    for (int file = 0; file < 1024; ++file) {
        sockaddr_in own{};
        sockaddr_in peer{};
        socklen_t ownSize = sizeof own;
        socklen_t peerSize = sizeof peer;
        if (getsockname(file, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
            getpeername(file, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
            own.sin_family == AF_INET && std::to_string(ntohs(own.sin_port)) == port)
            return file;
    }
    return -1;
}

int optionOf(int socket, int level, int name) {
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(socket, level, name, &value, &size) == 0 ? value : -1;
}

TEST_F(ServerTest, ListTellsOfTheDevices) {
    const auto records = connect().list();
    ASSERT_TRUE(records);
    ASSERT_EQ(busIds(*records), (std::vector<std::string>{"1-1", "1-2"}));
    const auto& second = records->at(1);
    EXPECT_EQ(second.busNumber, 1u);
    EXPECT_EQ(second.deviceNumber, 3u);
    EXPECT_EQ(second.speed, usbip::kHighSpeed);
    EXPECT_EQ(second.vendorId, kVendor);
    EXPECT_EQ(second.productId, kProduct);
    EXPECT_EQ(second.release, 0x1234);
    EXPECT_EQ(second.deviceClass, 0xff);
    EXPECT_EQ(second.deviceSubclass, 1);
    EXPECT_EQ(second.deviceProtocol, 2);
    EXPECT_EQ(second.configurationValue, 1);
    EXPECT_EQ(second.configurationCount, 1);
    ASSERT_EQ(second.interfaces.size(), 1u) << "one, with two settings";
    EXPECT_EQ(second.interfaces[0].interfaceClass, 0xfe);
    EXPECT_EQ(second.interfaces[0].interfaceSubclass, 3);
    EXPECT_EQ(second.interfaces[0].interfaceProtocol, 4);
}

TEST_F(ServerTest, ImportTellsOfTheDevice) {
    Client client = connect();
    ASSERT_EQ(client.import("1-2"), OperationStatus::ok);
    EXPECT_EQ(client.device().busId, "1-2");
    EXPECT_EQ(usbip::deviceId(client.device()), 0x10003u);
}

TEST_F(ServerTest, ImportedDeviceIsBusyAndNotListed) {
    const Client holder = imported("1-1");
    EXPECT_EQ(busIds(connect().list().value()), std::vector<std::string>{"1-2"});
    Client other = connect();
    EXPECT_EQ(other.import("1-1"), OperationStatus::busy);
    EXPECT_TRUE(other.isHungUp());
}

TEST_F(ServerTest, UnknownBusIdIsRefused) {
    for (const char* busId : {"1-3", "", "1-11", "2-1"}) {
        Client client = connect();
        EXPECT_EQ(client.import(busId), OperationStatus::noSuchDevice) << busId;
        EXPECT_TRUE(client.isHungUp());
    }
}

TEST_F(ServerTest, DeviceIsResetAndFreeAfterItsHostHasGone) {
    Client client = imported();
    EXPECT_EQ(settingOf(client), 1u);
    client.hangUp();
    ASSERT_TRUE(log.waitFor("1-1 was released"));
    Client next = connect();
    ASSERT_EQ(next.import("1-1"), OperationStatus::ok);
    EXPECT_EQ(settingOf(next), 0u);
    EXPECT_EQ(resetsOf(next), 1u);
}

TEST_F(ServerTest, ComputerThatVanishesIsNoticedWithinAMinute) {
    const Client client = imported();
    const int socket = acceptedSocket(port);
    ASSERT_GE(socket, 0);
    EXPECT_EQ(optionOf(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
    const int untilNoticed =
        optionOf(socket, IPPROTO_TCP, TCP_KEEPIDLE) +
        optionOf(socket, IPPROTO_TCP, TCP_KEEPINTVL) * optionOf(socket, IPPROTO_TCP, TCP_KEEPCNT);
    EXPECT_EQ(untilNoticed, 60);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_USER_TIMEOUT), 60'000)
        << "while answers are on their way, too";
}

TEST_F(ServerTest, DeathOfAHostInATransferFreesTheDevice) {
    Client client = imported();
    client.submitIn(kEcho, 8);
    usbip::Submit unfinished;
    unfinished.device = usbip::deviceId(client.device());
    unfinished.endpoint = kEcho;
    unfinished.length = 1000;
    client.send(encode(unfinished));
    client.send(Bytes(10));
    client.kill();
    ASSERT_TRUE(log.waitFor("1-1 was released"));
    Client next = imported();
    EXPECT_EQ(next.out(kEcho, {1}).status, 0);
    EXPECT_EQ(next.in(kEcho, 8).data, Bytes{1});
}

TEST_F(ServerTest, DevicesAreServedSideBySide) {
    Client first = imported("1-1");
    Client second = imported("1-2");
    first.submitIn(kEcho, 8);
    EXPECT_EQ(second.out(kEcho, {2}).status, 0);
    EXPECT_EQ(second.in(kEcho, 8).data, Bytes{2}) << "while the first waits for its device";
    first.submitOut(kEcho, {1});
    EXPECT_EQ(first.answer().status, 0);
    EXPECT_EQ(first.answer().data, Bytes{1});
    EXPECT_TRUE(connect().list()->empty());
}

TEST_F(ServerTest, DevicesAreServedFromManyThreads) {
    const auto echo = [this](const std::string& busId) {
        Client client = imported(busId);
        for (std::uint8_t count = 0; count < 200; ++count) {
            ASSERT_EQ(client.out(kEcho, Bytes(1000, count)).status, 0);
            ASSERT_EQ(client.in(kEcho, 1000).data, Bytes(1000, count));
        }
    };
    std::thread first(echo, "1-1");
    std::thread second(echo, "1-2");
    first.join();
    second.join();
}

TEST_F(ServerTest, HostThatTakesNothingHoldsUpNobody) {
    Client sleeper = imported("1-1");
    for (int count = 0; count < 40; ++count)
        sleeper.submitIn(kEndless, 4 << 20);
    Client other = imported("1-2");
    EXPECT_EQ(other.out(kEcho, {1}).status, 0);
    for (std::uint32_t count = 0; count < 40; ++count) {
        const Answer answer = sleeper.answer();
        ASSERT_EQ(answer.length, 4 << 20);
        ASSERT_EQ(answer.data.back(), 0x5a);
    }
}

TEST_F(ServerTest, CommandsMayComeByteByByte) {
    Client client = connect();
    for (const std::uint8_t byte : usbip::encodeImportRequest("1-1"))
        client.send(Bytes{byte});
    EXPECT_EQ(client.receive(8), (Bytes{1, 0x11, 0, 3, 0, 0, 0, 0}));
    client.receive(usbip::kDeviceRecordSize);
    client.assume(1, 2);
    client.chooseEndpoints();
    usbip::Submit command;
    command.sequence = 9;
    command.device = 0x10002;
    command.endpoint = kEcho;
    command.length = 2;
    const auto head = encode(command);
    Bytes all(head.begin(), head.end());
    all.insert(all.end(), {1, 2});
    for (const std::uint8_t byte : all)
        client.send(Bytes{byte});
    EXPECT_EQ(client.answer(), (Answer{9, false, 0, {}, 2}));
}

TEST_F(ServerTest, StopHangsUpOnEverybody) {
    Client client = imported();
    client.submitIn(kEcho, 8);
    Client silent = connect();
    server.stop();
    EXPECT_TRUE(client.isHungUp());
    EXPECT_TRUE(silent.isHungUp());
}

TEST(Server, ServesADeviceThatWasImportedByOtherMeans) {
    std::vector<std::unique_ptr<virtualusb::Device>> devices;
    devices.push_back(makeEchoDevice());
    usbip::Server server(std::move(devices), [](const std::string&) {});
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    server.serve("1-1", usbip::FileDescriptor(ends[0]));
    Client client{usbip::FileDescriptor(ends[1])};
    EXPECT_THROW(server.serve("1-1", usbip::FileDescriptor()), std::logic_error);
    EXPECT_THROW(server.serve("1-2", usbip::FileDescriptor()), std::out_of_range);
    server.start();
    client.assume(1, 2);
    client.chooseEndpoints();
    EXPECT_EQ(client.out(kEcho, {1}).status, 0);
    EXPECT_EQ(client.in(kEcho, 8).data, Bytes{1});
}

} // namespace
} // namespace tavo::usbiptest
