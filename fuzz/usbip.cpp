// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One connection of the USB/IP server, over a socketpair: the input is its client, in commands or
// in bytes of any kind, the device behind it, and the time.
//
// As long as the client sends whole commands, each submission is answered once at most and with no
// more than it asked for. In the end the device is free for the next client, or gone.
#include "input.h"

#include "controller/usb_descriptors.h"
#include "usbip/connection.h"

#include <deque>
#include <map>
#include <memory>
#include <poll.h>
#include <set>
#include <sys/socket.h>

using namespace tavo::usbip;
using tavo::fuzz::Input;
using tavo::fuzz::require;
using tavo::virtualusb::Device;
using tavo::virtualusb::Outcome;
using tavo::virtualusb::Reply;

namespace {

constexpr unsigned kMostSteps = 300;
constexpr std::size_t kLongestAnswer = 4096;

std::chrono::steady_clock::time_point now{};

// Endpoints as the cameras have them, answers as the input has them.
class FuzzedDevice final : public Device {
public:
    explicit FuzzedDevice(Input& given) : input(given) {}

    Bytes descriptors() const override {
        Bytes all = tavo::virtualcamera::deviceDescriptor({0xDF2C, "Camera"});
        const Bytes configuration = tavo::virtualcamera::configurationDescriptor();
        all.insert(all.end(), configuration.begin(), configuration.end());
        return all;
    }
    Outcome setAlternateSetting(unsigned, unsigned) override { return outcome(); }
    Outcome controlOut(const SetupPacket&, std::span<const std::uint8_t>) override {
        return outcome();
    }
    Reply controlIn(const SetupPacket& setup) override { return reply(setup.length); }
    Outcome bulkOut(std::uint8_t, std::span<const std::uint8_t>) override { return outcome(); }
    Reply bulkIn(std::uint8_t, std::uint32_t length) override { return reply(length); }
    std::optional<std::uint64_t> wakeIn() const override { return wake; }
    void reset() override { unplugged = false; }

private:
    // An exhausted input refuses: a device that is asked again and again comes to an end.
    Outcome outcome() {
        if (unplugged)
            return Outcome::gone;
        if (input.empty())
            return Outcome::stalled;
        const unsigned byte = input.u8();
        if (byte < 0x10)
            wake = input.flag() ? std::optional<std::uint64_t>(input.u16()) : std::nullopt;
        switch (byte & 0x0F) {
        case 0: return Outcome::stalled;
        case 1:
        case 2: return Outcome::nothing;
        case 3: unplugged = byte > 0xE0; return unplugged ? Outcome::gone : Outcome::done;
        default: return Outcome::done;
        }
    }
    Reply reply(std::size_t length) {
        const Outcome result = outcome();
        if (result != Outcome::done)
            return {result, {}};
        const std::size_t wanted = std::min(length, kLongestAnswer);
        const std::size_t given = input.flag() ? wanted : wanted * input.u8() / 256;
        return {Outcome::done, Bytes(given, input.u8())};
    }

    Input& input;
    std::optional<std::uint64_t> wake;
    bool unplugged = false;
};

class Client {
public:
    Client(Input& given, int socket, Connection& server)
        : input(given), end(socket), connection(server) {}

    void step();
    void serve(short found);

private:
    void send(std::span<const std::uint8_t> bytes);
    void open();
    void submit();
    void unlink();
    void receive();
    void readReplies();
    bool readReply();

    Input& input;
    int end;
    Connection& connection;
    Bytes received;
    bool orderly = true; // nothing but whole, well-formed requests was sent
    bool imported = false;
    std::uint32_t sequence = 1;
    std::map<std::uint32_t, Submit> waiting; // submissions
    std::set<std::uint32_t> unlinking;
};

void Client::send(std::span<const std::uint8_t> bytes) {
    // In pieces, so that the server has to wait for the rest.
    const std::size_t piece = input.below(4) == 0 ? 1 + input.u8() : bytes.size();
    while (!bytes.empty() && !connection.isOver()) {
        const auto part = bytes.first(std::min(piece, bytes.size()));
        if (::send(end, part.data(), part.size(), MSG_DONTWAIT | MSG_NOSIGNAL) !=
            static_cast<ssize_t>(part.size()))
            orderly = false;
        bytes = bytes.subspan(part.size());
        serve(POLLIN);
    }
}

void Client::open() {
    if (input.below(4) == 0) {
        send(encodeOperation(Operation::requestList));
        orderly = false; // a list, or nonsense after an import
    } else {
        orderly = orderly && !imported;
        imported = true;
        send(encodeImportRequest(input.below(8) == 0 ? "1-9" : "1-1"));
    }
}

SetupPacket setupOf(Input& input) {
    constexpr std::uint8_t kTypes[] = {0x80, 0x00, 0x01, 0x02, 0x81, 0x82, 0x40, 0xC0};
    constexpr std::uint8_t kStandard[] = {0, 1, 3, 6, 8, 9, 10, 11};
    const std::uint8_t type = input.flag() ? kTypes[input.below(8)] : input.u8();
    const std::uint8_t request = input.flag() ? kStandard[input.below(8)] : input.u8();
    return {type, request, input.u16(), input.u16(), input.u16()};
}

void Client::submit() {
    Submit command;
    command.sequence = input.below(16) == 0 ? input.u8() : sequence++;
    command.device = input.below(16) == 0 ? input.u32() : 0x10002;
    command.direction = input.flag() ? Direction::in : Direction::out;
    constexpr std::uint32_t kEndpoints[] = {0, 0, 2, 4, 6, 8, 8, 15};
    command.endpoint = kEndpoints[input.below(8)];
    command.flags = input.flag() ? kShortNotOk : 0;
    command.setup = setupOf(input);
    Bytes data;
    if (command.direction == Direction::out)
        data = input.bytes(input.u8());
    command.length = command.direction == Direction::out
                         ? static_cast<std::int32_t>(data.size())
                         : static_cast<std::int32_t>(input.flag() ? input.u16() : input.u32());
    if (input.below(16) == 0)
        command.packetCount = static_cast<std::int32_t>(input.u32());
    // The server tells submissions of one number no more apart than a kernel would.
    orderly = orderly && imported && !waiting.contains(command.sequence);
    waiting[command.sequence] = command;
    const auto head = encode(command);
    Bytes bytes(head.begin(), head.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    send(bytes);
}

void Client::unlink() {
    const Unlink command{sequence++, 0x10002, input.u8()};
    orderly = orderly && imported;
    unlinking.insert(command.sequence);
    send(encode(command));
}

void Client::receive() {
    std::uint8_t buffer[16384];
    for (;;) {
        const ssize_t count = recv(end, buffer, sizeof buffer, MSG_DONTWAIT);
        if (count <= 0)
            return;
        received.insert(received.end(), buffer, buffer + count);
    }
}

// False when there is no whole reply.
bool Client::readReply() {
    const auto reply = decodeReply(received);
    if (!reply)
        return false;
    std::size_t used = kCommandSize;
    if (const auto* answer = std::get_if<SubmitReply>(&*reply)) {
        const auto asked = waiting.find(answer->sequence);
        require(asked != waiting.end(), "an answer to a submission that waits");
        require(answer->actualLength >= 0 && answer->actualLength <= asked->second.length,
                "no more than was asked for");
        if (asked->second.direction == Direction::in)
            used += static_cast<std::size_t>(answer->actualLength);
        if (received.size() < used)
            return false;
        waiting.erase(asked);
    } else {
        const auto& unlinked = std::get<UnlinkReply>(*reply);
        require(unlinking.erase(unlinked.sequence) == 1, "an answer to an unlink");
    }
    received.erase(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(used));
    return true;
}

void Client::readReplies() {
    constexpr std::size_t kImportReply = kOperationHeaderSize + kDeviceRecordSize;
    if (imported && !received.empty() && received[0] == 0x01) {
        const auto header = decodeOperation(received);
        if (!header)
            return;
        const bool ok = header->status == 0;
        if (received.size() < (ok ? kImportReply : kOperationHeaderSize))
            return;
        received.erase(received.begin(),
                       received.begin() +
                           static_cast<std::ptrdiff_t>(ok ? kImportReply : kOperationHeaderSize));
        orderly = orderly && ok;
    }
    while (orderly && !received.empty() && readReply()) {
    }
}

void Client::serve(short found) {
    connection.serve(static_cast<short>(found & (connection.events() | POLLHUP)));
    receive();
    if (orderly)
        readReplies();
    else
        received.clear();
}

void Client::step() {
    switch (input.below(10)) {
    case 0: open(); break;
    case 1: {
        orderly = false;
        send(input.bytes(input.u8()));
        break;
    }
    case 2: unlink(); break;
    case 3:
        now += std::chrono::microseconds(input.u16());
        serve(0);
        break;
    case 4:
        now += std::chrono::milliseconds(input.u16());
        serve(POLLOUT);
        break;
    default: submit();
    }
}

} // namespace

// The linker leads std::chrono::steady_clock::now() here, whose result travels as its count.
extern "C" std::int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv() noexcept {
    return now.time_since_epoch().count();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    now = {};
    std::deque<ExportedDevice> devices;
    devices.emplace_back(std::make_unique<FuzzedDevice>(input), 1);
    const Log log = [](const std::string&) {};
    int ends[2] = {};
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a pair of sockets");
    const FileDescriptor clientEnd(ends[1]);
    {
        Connection connection(FileDescriptor(ends[0]), "client", devices, log);
        Client client(input, clientEnd.get(), connection);
        for (unsigned count = 0; count < kMostSteps && !input.empty() && !connection.isOver();
             ++count)
            client.step();
        shutdown(clientEnd.get(), SHUT_WR);
        if (!connection.isOver())
            client.serve(POLLIN);
        (void)connection.nextService();
    }
    require(devices.front().isAvailable() ||
                devices.front().acquire() == OperationStatus::notAvailable,
            "a device that is free again, or gone");
    return 0;
}
