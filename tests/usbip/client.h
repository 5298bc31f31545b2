// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A client of a USB/IP server, such as a kernel with vhci-hcd, that shows every reply it gets.
#pragma once

#include "usbip/file_descriptor.h"
#include "usbip/wire.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::usbiptest {

using usbip::Bytes;
using usbip::Direction;
using usbip::SetupPacket;

struct Answer {
    std::uint32_t sequence = 0;
    bool unlinked = false; // an answer to an unlink
    std::int32_t status = 0;
    Bytes data;     // inward
    int length = 0; // as the reply tells it
    bool operator==(const Answer&) const = default;
};

class Client {
public:
    explicit Client(const std::string& port);
    // Speaks on a socket that is connected already.
    explicit Client(usbip::FileDescriptor connected) : socket(std::move(connected)) {}

    void send(std::span<const std::uint8_t> bytes);
    // Exactly so many bytes; fewer when the server hangs up first. A silent server is an exception
    // after a while.
    Bytes receive(std::size_t count);
    bool isHungUp() { return receive(1).empty(); }
    // Ends the connection as the death of the client does: nothing is said, the rest is dropped.
    void kill();
    void hangUp() { socket = usbip::FileDescriptor(); }

    std::optional<std::vector<usbip::DeviceRecord>> list();
    usbip::OperationStatus import(const std::string& busId);
    const usbip::DeviceRecord& device() const { return record; }
    // Speak of that device without an import.
    void assume(std::uint32_t busNumber, std::uint32_t deviceNumber);

    // These give the sequence number of the command.
    std::uint32_t submitIn(std::uint32_t endpoint, int length, std::uint32_t flags = 0);
    std::uint32_t submitOut(std::uint32_t endpoint, const Bytes& data);
    std::uint32_t submitControl(const SetupPacket& setup, const Bytes& out = {});
    std::uint32_t unlink(std::uint32_t sequence);

    // Empty data and a sequence of 0 when the server has hung up.
    Answer answer();
    Answer in(std::uint32_t endpoint, int length, std::uint32_t flags = 0);
    Answer out(std::uint32_t endpoint, const Bytes& data);
    Answer control(const SetupPacket& setup, const Bytes& out = {});
    // Imports and chooses configuration 1 and setting 1: all endpoints are there.
    void importWithEndpoints(const std::string& busId = "1-1");
    void chooseEndpoints();

private:
    std::uint32_t submit(usbip::Submit command, const Bytes& out);

    usbip::FileDescriptor socket;
    usbip::DeviceRecord record;
    std::uint32_t lastSequence = 0;
    std::vector<std::uint32_t> inward; // sequence numbers whose answers bring data
};

// Requests to the device.
SetupPacket getDescriptor(unsigned type, std::uint16_t length);
SetupPacket setConfiguration(std::uint16_t value);
SetupPacket setInterface(std::uint16_t setting);
SetupPacket clearHalt(std::uint8_t endpoint);
SetupPacket vendorOut(std::uint8_t request, std::uint16_t value, std::uint16_t length = 0);
SetupPacket vendorIn(std::uint8_t request, std::uint16_t length);

} // namespace tavo::usbiptest
