// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connection.h"

#include <algorithm>
#include <utility>
#include <variant>

#include <poll.h>
#include <sys/socket.h>

namespace tavo::usbip {
namespace {

// A client that connects and says nothing holds a place that others may want.
constexpr std::chrono::seconds kOpeningTime{10};

} // namespace

Connection::Connection(FileDescriptor accepted, std::string name,
                       std::deque<ExportedDevice>& exported, const Log& teller)
    : socket(std::move(accepted)), peer(std::move(name)), devices(exported), log(teller),
      deadline(Clock::now() + kOpeningTime) {}

Connection::Connection(FileDescriptor connected, std::string name,
                       std::deque<ExportedDevice>& exported, const Log& teller,
                       ExportedDevice& device)
    : Connection(std::move(connected), std::move(name), exported, teller) {
    startSession(device);
}

Connection::~Connection() {
    endSession();
}

short Connection::events() const {
    return static_cast<short>((takesInput() ? POLLIN : 0) | (output.empty() ? 0 : POLLOUT));
}

// While it drains, what comes in is thrown away.
bool Connection::takesInput() const {
    return phase == Phase::draining || outputBytes < kMostBytesUnsent;
}

void Connection::serve(short found) {
    if ((found & POLLIN) != 0)
        receive();
    else if ((found & (POLLERR | POLLHUP | POLLNVAL)) != 0)
        finish();
    const auto now = Clock::now();
    if (session && sessionDue && *sessionDue <= now) {
        session->service();
        serviceSession();
    }
    if (!isOver())
        flush();
    // Commands that were received already, and waited for their answers to have room.
    parse();
    if (!isOver() && deadline && *deadline <= now) {
        if (phase == Phase::opening)
            fail("asked for nothing");
        finish();
    }
}

std::optional<Clock::time_point> Connection::nextService() const {
    if (deadline && sessionDue)
        return std::min(*deadline, *sessionDue);
    return deadline ? deadline : sessionDue;
}

void Connection::parse() {
    std::size_t consumed = 0;
    while ((phase == Phase::opening || phase == Phase::serving) && takesInput()) {
        const auto rest = std::span<const std::uint8_t>(input).subspan(consumed);
        const std::size_t used = session ? parseCommand(rest) : parseOperation(rest);
        if (used == 0)
            break;
        consumed += used;
    }
    input.erase(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(consumed));
}

// These give the number of bytes they have used, 0 when more are needed or none are wanted.

std::size_t Connection::parseOperation(std::span<const std::uint8_t> bytes) {
    const auto header = decodeOperation(bytes);
    if (!header)
        return 0;
    if (header->version != kProtocolVersion) {
        fail("speaks another version of the protocol than 1.1.1");
        return 0;
    }
    switch (static_cast<Operation>(header->code)) {
    case Operation::requestList: list(); return kOperationHeaderSize;
    case Operation::requestImport: return parseImport(bytes);
    case Operation::replyList:
    case Operation::replyImport: break;
    }
    fail("asked for an unknown operation");
    return 0;
}

std::size_t Connection::parseImport(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kOperationHeaderSize + kBusIdSize)
        return 0;
    const auto busId = decodeBusId(bytes.subspan(kOperationHeaderSize));
    if (!busId) {
        fail("sent a bus id without an end");
        return 0;
    }
    import(*busId);
    return kOperationHeaderSize + kBusIdSize;
}

std::size_t Connection::parseCommand(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kCommandSize)
        return 0;
    const auto command = decodeCommand(bytes);
    if (!command) {
        fail("sent an unknown command");
        return 0;
    }
    if (const auto* submit = std::get_if<Submit>(&*command))
        return parseSubmit(*submit, bytes.subspan(kCommandSize));
    const auto& unlink = std::get<Unlink>(*command);
    if (unlink.device != deviceId(imported->record())) {
        fail("sent a command for another device");
        return 0;
    }
    session->unlink(unlink);
    serviceSession();
    return kCommandSize;
}

std::size_t Connection::parseSubmit(const Submit& command, std::span<const std::uint8_t> data) {
    const auto longest = command.endpoint == 0 ? kLongestControlTransfer : kLongestTransfer;
    if (command.device != deviceId(imported->record()))
        fail("sent a command for another device");
    else if (command.length < 0 || command.length > longest)
        fail("asked for a transfer of " + std::to_string(command.length) +
             " bytes; accepted are 0 to " + std::to_string(longest));
    else if (command.packetCount > 0)
        fail("asked for an isochronous transfer, which no device here has");
    else if (session->pendingCount() >= kMostRequestsPending ||
             session->pendingBytes() + static_cast<std::size_t>(command.length) > kMostBytesPending)
        fail("asked for too much at a time");
    if (isOver())
        return 0;
    const auto outward =
        command.direction == Direction::out ? static_cast<std::size_t>(command.length) : 0;
    if (data.size() < outward)
        return 0;
    const auto out = data.first(outward);
    session->submit(command, Bytes(out.begin(), out.end()));
    serviceSession();
    return kCommandSize + outward;
}

void Connection::list() {
    std::vector<DeviceRecord> records;
    for (const ExportedDevice& device : devices)
        if (device.isAvailable())
            records.push_back(device.record());
    send(encodeListReply(records));
    drain();
}

void Connection::import(const std::string& busId) {
    const auto found =
        std::find_if(devices.begin(), devices.end(),
                     [&](const ExportedDevice& device) { return device.record().busId == busId; });
    const bool known = found != devices.end();
    const auto status = known ? found->acquire() : OperationStatus::noSuchDevice;
    send(encodeImportReply(status, known ? found->record() : DeviceRecord{}));
    if (status != OperationStatus::ok) {
        drain();
        return;
    }
    log(busId + " was imported by " + peer);
    startSession(*found);
}

void Connection::startSession(ExportedDevice& device) {
    imported = &device;
    session =
        std::make_unique<DeviceSession>(device.device(), device.descriptors(),
                                        [this](const std::array<std::uint8_t, kCommandSize>& head,
                                               Bytes data) { send(head, std::move(data)); });
    phase = Phase::serving;
    deadline.reset();
}

// The session may be gone after this.
void Connection::serviceSession() {
    if (!session->isGone()) {
        sessionDue = session->nextService();
        return;
    }
    log(imported->record().busId + " was unplugged");
    imported->vanish();
    imported = nullptr;
    session.reset();
    sessionDue.reset();
    drain();
}

void Connection::endSession() {
    session.reset();
    sessionDue.reset();
    if (ExportedDevice* device = std::exchange(imported, nullptr)) {
        device->release();
        log(device->record().busId + " was released by " + peer);
    }
}

void Connection::fail(const std::string& reason) {
    log(peer + " " + reason + "; hanging up");
    finish();
}

void Connection::finish() {
    endSession();
    output.clear();
    phase = Phase::over;
}

} // namespace tavo::usbip
