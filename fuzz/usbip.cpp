// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One connection of the USB/IP server, over a socketpair: the input is its client, in commands or
// in bytes of any kind, the device behind it, and the time.
//
// As long as the client sends whole commands that a host may send, the server stays and each
// submission has one answer, with no more than it asked for: its own, or that it was unlinked
// before. Once the device answers all, none is left without. In the end the device is free for the
// next client, or gone.
#include "input.h"
#include "usbip_device.h"

#include "usbip/connection.h"

#include <cerrno>
#include <deque>
#include <map>
#include <memory>
#include <poll.h>
#include <sys/socket.h>

using namespace tavo::usbip;
using tavo::fuzz::Input;
using tavo::fuzz::require;
using tavo::fuzz::UsbipDevice;

namespace {

constexpr unsigned kMostSteps = 300;
constexpr std::uint32_t kDeviceId = 0x10002;

std::chrono::steady_clock::time_point now{};

class Client {
public:
    // `unplugged` is set by the server's word.
    Client(Input& given, int socket, Connection& server, UsbipDevice& served, const bool& unplugged)
        : input(given), end(socket), connection(server), device(served), serverLost(unplugged) {}

    void step();
    void finish();
    void serve(short found);

private:
    bool send(std::span<const std::uint8_t> bytes);
    void open();
    void submit();
    void submit(const Submit& command, const Bytes& data);
    bool isAcceptable(const Submit& command) const;
    void unlink(std::uint32_t submission);
    void askStatus();
    void receive();
    void readReplies();
    bool readReply();

    Input& input;
    int end;
    Connection& connection;
    UsbipDevice& device;
    const bool& serverLost;
    Bytes received;
    bool orderly = true; // nothing but whole requests that are to be served was sent
    bool imported = false;
    std::uint32_t sequence = 1;
    std::map<std::uint32_t, Submit> waiting;          // submissions
    std::map<std::uint32_t, std::uint32_t> unlinking; // submissions by the unlink's own number
};

// In pieces, so that the server has to wait for the rest. False when it no longer listens: a client
// whose device was unplugged is heard no more.
bool Client::send(std::span<const std::uint8_t> bytes) {
    bool heard = false;
    const std::size_t piece = input.below(4) == 0 ? 1 + input.u8() : bytes.size();
    while (!bytes.empty() && !connection.isOver()) {
        const auto part = bytes.first(std::min(piece, bytes.size()));
        if (::send(end, part.data(), part.size(), MSG_DONTWAIT | MSG_NOSIGNAL) !=
            static_cast<ssize_t>(part.size()))
            orderly = false;
        bytes = bytes.subspan(part.size());
        heard = bytes.empty() && !serverLost;
        serve(POLLIN);
    }
    return heard;
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
    command.device = input.below(16) == 0 ? input.u32() : kDeviceId;
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
    submit(command, data);
}

bool Client::isAcceptable(const Submit& command) const {
    const auto longest = command.endpoint == 0 ? kLongestControlTransfer : kLongestTransfer;
    std::size_t total = 0;
    for (const auto& [number, other] : waiting)
        total += static_cast<std::size_t>(other.length);
    // The server tells submissions of one number no more apart than a kernel would.
    return command.device == kDeviceId && command.length >= 0 && command.length <= longest &&
           command.packetCount <= 0 && !waiting.contains(command.sequence) &&
           total + static_cast<std::size_t>(command.length) <= kMostBytesPending;
}

void Client::submit(const Submit& command, const Bytes& data) {
    orderly = orderly && imported && isAcceptable(command);
    waiting[command.sequence] = command;
    const auto head = encode(command);
    Bytes bytes(head.begin(), head.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    if (!send(bytes))
        waiting.erase(command.sequence);
}

void Client::unlink(std::uint32_t submission) {
    const Unlink command{sequence++, kDeviceId, submission};
    orderly = orderly && imported;
    unlinking[command.sequence] = command.unlinked;
    if (!send(encode(command)))
        unlinking.erase(command.sequence);
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
        const auto asked = unlinking.find(unlinked.sequence);
        require(asked != unlinking.end(), "an answer to an unlink");
        require(waiting.erase(asked->second) == (unlinked.status == -ECONNRESET ? 1u : 0u),
                "an unlinked submission that waited, or one that was answered before");
        unlinking.erase(asked);
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
    const auto due = connection.nextService();
    require(connection.isOver() || !due || *due > now, "a pause before a device is asked again");
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
    case 2: unlink(input.u8()); break;
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

void Client::askStatus() {
    Submit command;
    command.sequence = 1u << 31;
    command.device = kDeviceId;
    command.direction = Direction::in;
    command.length = 2;
    command.setup = {0x80, 0, 0, 0, 2};
    submit(command, {});
}

// The last word is a request more or a request less, after which a device that had nothing and
// named no time is asked again.
void Client::finish() {
    constexpr unsigned mostRounds = 1000;
    if (!orderly)
        return;
    if (imported && !serverLost) {
        device.answerAll();
        if (sequence % 2 == 0 && !waiting.empty())
            unlink(waiting.begin()->first);
        else
            askStatus();
        for (unsigned round = 0; round < mostRounds && connection.nextService(); ++round) {
            now = *connection.nextService();
            serve(POLLIN | POLLOUT);
        }
        require(serverLost || !connection.isOver(), "a server that stays");
    }
    require(waiting.empty() && unlinking.empty(), "an answer to everything");
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
    auto owned = std::make_unique<UsbipDevice>(input);
    UsbipDevice& device = *owned;
    devices.emplace_back(std::move(owned), 1);
    bool unplugged = false;
    const Log log = [&](const std::string& line) {
        unplugged = unplugged || line.ends_with(" was unplugged");
        require(!unplugged || device.wasUnplugged(), "a device that was not unplugged stays");
    };
    int ends[2] = {};
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a pair of sockets");
    const FileDescriptor clientEnd(ends[1]);
    {
        Connection connection(FileDescriptor(ends[0]), "client", devices, log);
        Client client(input, clientEnd.get(), connection, device, unplugged);
        for (unsigned count = 0; count < kMostSteps && !input.empty() && !connection.isOver();
             ++count)
            client.step();
        client.finish();
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
