// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Clients that are broken or mean harm: they are hung up on, the log says why, and the server lives
// on.
#include "server_fixture.h"

#include <random>

namespace tavo::usbiptest {
namespace {

class GarbageTest : public ServerTest {
protected:
    void expectHungUpOn(Client& client, const std::string& reason) {
        EXPECT_TRUE(client.isHungUp()) << reason;
        EXPECT_TRUE(log.waitFor(reason)) << reason;
        expectHealthy();
    }
    void expectHealthy() {
        Client client = imported("1-2");
        EXPECT_EQ(client.out(kEcho, {1}).status, 0);
        client.hangUp();
        while (connect().import("1-2") != usbip::OperationStatus::ok)
            continue; // until the server has seen the end
        while (connect().list()->size() < 2)
            continue;
    }
    void expectOpeningRefused(const Bytes& bytes, const std::string& reason) {
        Client client = connect();
        client.send(bytes);
        expectHungUpOn(client, reason);
    }
    usbip::Submit echoRequest(const Client& client) {
        usbip::Submit command;
        command.sequence = 500;
        command.device = usbip::deviceId(client.device());
        command.endpoint = kEcho;
        return command;
    }
    void expectCommandRefused(const std::function<void(usbip::Submit&)>& spoil,
                              const std::string& reason) {
        Client client = imported();
        usbip::Submit command = echoRequest(client);
        spoil(command);
        client.send(encode(command));
        expectHungUpOn(client, reason);
    }
};

TEST_F(GarbageTest, OpeningThatIsNone) {
    expectOpeningRefused({'G', 'E', 'T', ' ', '/', ' ', 'H', 'T', 'T', 'P'},
                         "another version of the protocol");
    expectOpeningRefused({1, 0x11, 0x80, 0x04, 0, 0, 0, 0}, "unknown operation");
    expectOpeningRefused({1, 0x11, 0x00, 0x03, 0, 0, 0, 0}, "unknown operation");
    Bytes endless{1, 0x11, 0x80, 0x03, 0, 0, 0, 0};
    endless.resize(40, 'x');
    expectOpeningRefused(endless, "bus id without an end");
}

TEST_F(GarbageTest, OpeningThatBreaksOff) {
    const Bytes request = usbip::encodeImportRequest("1-1");
    for (std::size_t size = 0; size < request.size(); ++size) {
        Client client = connect();
        client.send(std::span(request).first(size));
    }
    expectHealthy();
}

TEST_F(GarbageTest, UnknownCommand) {
    Client client = imported();
    client.send(Bytes(usbip::kCommandSize, 0xff));
    expectHungUpOn(client, "unknown command");
}

TEST_F(GarbageTest, ReplyInsteadOfACommand) {
    Client client = imported();
    client.send(encode(usbip::SubmitReply{1, 0, 0}));
    expectHungUpOn(client, "unknown command");
}

TEST_F(GarbageTest, EndpointBeyondAll) {
    expectCommandRefused([](auto& command) { command.endpoint = 16; }, "unknown command");
}

TEST_F(GarbageTest, CommandForAnotherDevice) {
    expectCommandRefused([](auto& command) { ++command.device; }, "for another device");
    Client client = imported();
    client.send(encode(usbip::Unlink{1, 0x10003, 1}));
    expectHungUpOn(client, "for another device");
}

TEST_F(GarbageTest, LengthsBeyondReason) {
    expectCommandRefused([](auto& command) { command.length = -1; }, "transfer of -1 bytes");
    expectCommandRefused([](auto& command) { command.length = INT32_MIN; },
                         "transfer of -2147483648 bytes");
    expectCommandRefused([](auto& command) { command.length = INT32_MAX; },
                         "transfer of 2147483647 bytes; accepted are 0 to 67108864");
    expectCommandRefused(
        [](auto& command) {
            command.length = (64 << 20) + 1;
            command.direction = Direction::in;
        },
        "transfer of 67108865 bytes");
    expectCommandRefused(
        [](auto& command) {
            command.endpoint = 0;
            command.length = 0x10000;
        },
        "transfer of 65536 bytes; accepted are 0 to 65535");
}

TEST_F(GarbageTest, IsochronousTransfer) {
    expectCommandRefused([](auto& command) { command.packetCount = 8; }, "isochronous");
}

TEST_F(GarbageTest, TooManyRequestsAtATime) {
    Client client = imported();
    for (std::size_t count = 0; count <= usbip::kMostRequestsPending; ++count)
        client.submitIn(kEcho, 1);
    expectHungUpOn(client, "too much at a time");
}

TEST_F(GarbageTest, TooManyBytesAtATime) {
    Client client = imported();
    for (int count = 0; count < 5; ++count)
        client.submitIn(kEcho, usbip::kLongestTransfer);
    expectHungUpOn(client, "too much at a time");
}

TEST_F(GarbageTest, LengthIsNoReasonToTakeMemory) {
    // As many as there may be, each of which promises the longest transfer and keeps silent then.
    std::vector<Client> clients;
    clients.push_back(imported("1-1"));
    usbip::Submit command = echoRequest(clients.back());
    command.length = usbip::kLongestTransfer;
    clients.back().send(encode(command));
    clients.back().send(Bytes(100));
    clients.clear();
    expectHealthy();
}

TEST_F(GarbageTest, RandomBytes) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        Client client = connect();
        const bool isImported =
            round % 2 == 0 && client.import("1-1") == usbip::OperationStatus::ok;
        usbip::Submit command = echoRequest(client);
        command.length = static_cast<std::int32_t>(random() % 64);
        const auto head = encode(command);
        Bytes bytes(head.begin(), head.end());
        bytes.resize(200);
        // Sound commands that were spoiled get further than noise.
        for (int changes = isImported ? 1 + round % 3 : 200; changes > 0; --changes)
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        client.send(bytes);
    }
    expectHealthy();
}

} // namespace
} // namespace tavo::usbiptest
