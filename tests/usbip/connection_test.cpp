// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One connection by itself, over a pair of sockets and in one thread: the test is the network.
#include "client.h"
#include "echo_device.h"
#include "usbip/connection.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace tavo::usbiptest {
namespace {

using namespace tavo::usbip;

constexpr int kLarge = 4 << 20;
constexpr std::size_t kMostAnswered = kMostBytesUnsent / kLarge;
constexpr short kNothingFound = 0;

// The echo device; counts what is asked of its endless endpoint.
class CountingDevice final : public virtualusb::Device {
public:
    explicit CountingDevice(unsigned& asked_) : asked(asked_) {}

    Bytes descriptors() const override { return device->descriptors(); }
    virtualusb::Outcome setAlternateSetting(unsigned interface, unsigned setting) override {
        return device->setAlternateSetting(interface, setting);
    }
    virtualusb::Outcome controlOut(const SetupPacket& setup,
                                   std::span<const std::uint8_t> data) override {
        return device->controlOut(setup, data);
    }
    virtualusb::Reply controlIn(const SetupPacket& setup) override {
        return device->controlIn(setup);
    }
    virtualusb::Outcome bulkOut(std::uint8_t endpoint,
                                std::span<const std::uint8_t> data) override {
        return device->bulkOut(endpoint, data);
    }
    virtualusb::Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        ++asked;
        return device->bulkIn(endpoint, length);
    }
    std::optional<std::uint64_t> wakeIn() const override { return device->wakeIn(); }
    void reset() override { device->reset(); }

private:
    std::unique_ptr<virtualusb::Device> device = makeEchoDevice();
    unsigned& asked;
};

class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        devices.emplace_back(std::make_unique<CountingDevice>(asked), 1);
        EXPECT_EQ(devices.front().acquire(), OperationStatus::ok);
        connection.emplace(FileDescriptor(ends[0]), "test", devices, log, devices.front());
        network = ends[1];
        client = std::make_unique<Client>(FileDescriptor(network));
        client->assume(1, 2);
        client->submitControl(setConfiguration(1));
        client->submitControl(setInterface(1));
        turn();
        receive(2 * kCommandSize);
    }

    // What a poll loop does in one turn. False when there was nothing to do.
    bool turn() {
        pollfd file{connection->descriptor(), connection->events(), 0};
        if (poll(&file, 1, 0) == 0)
            return false;
        connection->serve(file.revents);
        return true;
    }
    void turnToRest() {
        for (int count = 0; count < 1000 && turn(); ++count) {
        }
    }
    // Of what has been sent already.
    Bytes receive(std::size_t most) {
        Bytes bytes(most);
        const ssize_t count = recv(network, bytes.data(), most, MSG_DONTWAIT);
        bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return bytes;
    }
    void askForLarge(unsigned count) {
        for (; count > 0; --count)
            client->submitIn(kEndless, kLarge);
    }
    // Takes what comes until nothing does any more.
    std::size_t takeAll() {
        std::size_t total = 0;
        do {
            for (Bytes bytes = receive(1 << 20); !bytes.empty(); bytes = receive(1 << 20))
                total += bytes.size();
        } while (turn());
        return total;
    }

    unsigned asked = 0;
    std::deque<ExportedDevice> devices;
    Log log = [this](const std::string& line) { lines.push_back(line); };
    std::vector<std::string> lines;
    std::optional<Connection> connection;
    int network = -1;
    std::unique_ptr<Client> client;
};

TEST_F(ConnectionTest, CarriesOutNothingWhileAnswersWait) {
    askForLarge(200);
    turnToRest();
    EXPECT_GE(asked, kMostAnswered);
    EXPECT_LE(asked, kMostAnswered + 1) << "one more may go before the first has left";
    EXPECT_EQ(connection->events(), POLLOUT);
    for (int count = 0; count < 20; ++count)
        connection->serve(kNothingFound); // as when its time has come
    EXPECT_LE(asked, kMostAnswered + 1);
}

TEST_F(ConnectionTest, ReceivesNothingWhileAnswersWait) {
    askForLarge(kMostAnswered + 1);
    turnToRest();
    client->submitIn(kEcho, 1);
    connection->serve(POLLIN);
    int unread = 0;
    EXPECT_EQ(ioctl(connection->descriptor(), FIONREAD, &unread), 0);
    EXPECT_EQ(unread, static_cast<int>(kCommandSize));
}

TEST_F(ConnectionTest, CarriesOutWhatItHasReceivedOnceThereIsRoom) {
    askForLarge(100);
    turnToRest();
    ASSERT_LT(asked, 100U);
    EXPECT_EQ(takeAll(), 100 * (kCommandSize + kLarge));
    EXPECT_EQ(asked, 100U);
    EXPECT_EQ(connection->events(), POLLIN);
    client->submitOut(kEcho, {1});
    turn();
    EXPECT_EQ(receive(100).size(), kCommandSize) << "it serves on";
}

TEST_F(ConnectionTest, AnswersToUnlinksWaitForRoomToo) {
    constexpr std::size_t kUnlinks = 100; // which the socket has room for, with nobody reading
    askForLarge(kMostAnswered);
    turnToRest();
    for (std::size_t count = 0; count < kUnlinks; ++count)
        client->unlink(7);
    turnToRest();
    askForLarge(1);
    EXPECT_EQ(takeAll(), (kMostAnswered + 1) * (kCommandSize + kLarge) + kUnlinks * kCommandSize);
}

TEST_F(ConnectionTest, EndOfAClientThatTakesNothingFreesTheDevice) {
    askForLarge(100);
    turnToRest();
    client.reset();
    turnToRest();
    EXPECT_TRUE(connection->isOver());
    EXPECT_TRUE(devices.front().isAvailable());
    EXPECT_EQ(lines, std::vector<std::string>{"1-1 was released by test"});
}

} // namespace
} // namespace tavo::usbiptest
