// SPDX-License-Identifier: LGPL-2.1-or-later
#include "client.h"

#include "usbip/socket_address.h"

#include <algorithm>
#include <stdexcept>

#include <netdb.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace tavo::usbiptest {

using namespace tavo::usbip;

namespace {

FileDescriptor connectTo(const std::string& port) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo("127.0.0.1", port.c_str(), &wanted, &found) != 0)
        throw std::runtime_error("no such port");
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int error = connect(socket.get(), found->ai_addr, found->ai_addrlen);
    freeaddrinfo(found);
    if (error != 0)
        throw std::runtime_error("cannot connect");
    sendSmallReplies(socket.get());
    return socket;
}

} // namespace

Client::Client(const std::string& port) : socket(connectTo(port)) {}

void Client::send(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0)
            return; // the server has hung up; the next answer shows it
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

Bytes Client::receive(std::size_t count) {
    const timeval patience{30, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    Bytes bytes(count);
    std::size_t received = 0;
    while (received < count) {
        const ssize_t got = recv(socket.get(), bytes.data() + received, count - received, 0);
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            throw std::runtime_error("the server is silent");
        if (got <= 0)
            break;
        received += static_cast<std::size_t>(got);
    }
    bytes.resize(received);
    return bytes;
}

void Client::kill() {
    const linger atOnce{1, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    hangUp();
}

std::optional<std::vector<DeviceRecord>> Client::list() {
    send(encodeOperation(Operation::requestList));
    const auto header = decodeOperation(receive(kOperationHeaderSize));
    if (!header || header->code != static_cast<std::uint16_t>(Operation::replyList))
        return std::nullopt;
    Bytes all;
    for (Bytes more = receive(1); !more.empty(); more = receive(1))
        all.push_back(more.front());
    return decodeDeviceList(all);
}

OperationStatus Client::import(const std::string& busId) {
    send(encodeImportRequest(busId));
    const auto header = decodeOperation(receive(kOperationHeaderSize));
    if (!header || header->code != static_cast<std::uint16_t>(Operation::replyImport))
        throw std::runtime_error("no reply to the import");
    const auto status = static_cast<OperationStatus>(header->status);
    if (status == OperationStatus::ok)
        record = decodeDeviceRecord(receive(kDeviceRecordSize)).value();
    return status;
}

void Client::assume(std::uint32_t busNumber, std::uint32_t deviceNumber) {
    record.busNumber = busNumber;
    record.deviceNumber = deviceNumber;
}

std::uint32_t Client::submitIn(std::uint32_t endpoint, int length, std::uint32_t flags) {
    Submit command;
    command.direction = Direction::in;
    command.endpoint = endpoint;
    command.length = length;
    command.flags = flags;
    return submit(command, {});
}

std::uint32_t Client::submitOut(std::uint32_t endpoint, const Bytes& data) {
    Submit command;
    command.endpoint = endpoint;
    command.length = static_cast<std::int32_t>(data.size());
    return submit(command, data);
}

std::uint32_t Client::submitControl(const SetupPacket& setup, const Bytes& out) {
    Submit command;
    command.direction = (setup.requestType & 0x80) != 0 ? Direction::in : Direction::out;
    command.length = setup.length;
    command.setup = setup;
    return submit(command, out);
}

std::uint32_t Client::submit(Submit command, const Bytes& out) {
    command.sequence = ++lastSequence;
    command.device = deviceId(record);
    if (command.direction == Direction::in)
        inward.push_back(command.sequence);
    send(encode(command));
    send(out);
    return command.sequence;
}

std::uint32_t Client::unlink(std::uint32_t sequence) {
    send(encode(Unlink{++lastSequence, deviceId(record), sequence}));
    return lastSequence;
}

Answer Client::answer() {
    const auto reply = decodeReply(receive(kCommandSize));
    if (!reply)
        return {};
    if (const auto* unlinked = std::get_if<UnlinkReply>(&*reply))
        return {unlinked->sequence, true, unlinked->status, {}, 0};
    const auto& submitted = std::get<SubmitReply>(*reply);
    Answer result{submitted.sequence, false, submitted.status, {}, submitted.actualLength};
    if (std::find(inward.begin(), inward.end(), submitted.sequence) != inward.end())
        result.data = receive(static_cast<std::size_t>(submitted.actualLength));
    return result;
}

Answer Client::in(std::uint32_t endpoint, int length, std::uint32_t flags) {
    submitIn(endpoint, length, flags);
    return answer();
}

Answer Client::out(std::uint32_t endpoint, const Bytes& data) {
    submitOut(endpoint, data);
    return answer();
}

Answer Client::control(const SetupPacket& setup, const Bytes& out) {
    submitControl(setup, out);
    return answer();
}

void Client::importWithEndpoints(const std::string& busId) {
    if (import(busId) != OperationStatus::ok)
        throw std::runtime_error("the import of " + busId + " was refused");
    chooseEndpoints();
}

void Client::chooseEndpoints() {
    if (control(setConfiguration(1)).status != 0 || control(setInterface(1)).status != 0)
        throw std::runtime_error("the device was not to be configured");
}

SetupPacket getDescriptor(unsigned type, std::uint16_t length) {
    return {0x80, 6, static_cast<std::uint16_t>(type << 8), 0, length};
}

SetupPacket setConfiguration(std::uint16_t value) {
    return {0x00, 9, value, 0, 0};
}

SetupPacket setInterface(std::uint16_t setting) {
    return {0x01, 11, setting, 0, 0};
}

SetupPacket clearHalt(std::uint8_t endpoint) {
    return {0x02, 1, 0, endpoint, 0};
}

SetupPacket vendorOut(std::uint8_t request, std::uint16_t value, std::uint16_t length) {
    return {0x40, request, value, 0, length};
}

SetupPacket vendorIn(std::uint8_t request, std::uint16_t length) {
    return {0xc0, request, 0, 0, length};
}

} // namespace tavo::usbiptest
