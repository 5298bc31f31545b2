// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The messages of the USB/IP protocol, version 1.1.1: values to bytes and back, without I/O.
//
// A connection begins with one operation: a list of the devices, or the import of one of them.
// After a successful import both sides exchange commands: the client submits and unlinks requests,
// the server returns them. All integers are big-endian but those within a setup packet, which
// stands on the wire as on a USB cable.
#pragma once

#include "usb/device.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tavo::usbip {

using virtualusb::Bytes;
using virtualusb::SetupPacket;

inline constexpr std::uint16_t kProtocolVersion = 0x0111;
inline constexpr std::size_t kOperationHeaderSize = 8;
inline constexpr std::size_t kBusIdSize = 32;
inline constexpr std::size_t kDeviceRecordSize = 312;
inline constexpr std::size_t kInterfaceRecordSize = 4;
inline constexpr std::size_t kCommandSize = 48;

enum class Operation : std::uint16_t {
    requestImport = 0x8003,
    replyImport = 0x0003,
    requestList = 0x8005,
    replyList = 0x0005,
};

enum class OperationStatus : std::uint32_t {
    ok = 0,
    notAvailable = 1,
    busy = 2,
    deviceFault = 3,
    noSuchDevice = 4,
    error = 5,
};

struct OperationHeader {
    std::uint16_t version = kProtocolVersion;
    std::uint16_t code = 0; // an Operation, when it is known at all
    std::uint32_t status = 0;
};

struct InterfaceRecord {
    std::uint8_t interfaceClass = 0;
    std::uint8_t interfaceSubclass = 0;
    std::uint8_t interfaceProtocol = 0;
};

struct DeviceRecord {
    std::string path;  // up to 255 characters
    std::string busId; // up to 31 characters
    std::uint32_t busNumber = 0;
    std::uint32_t deviceNumber = 0;
    std::uint32_t speed = 0;
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::uint16_t release = 0;
    std::uint8_t deviceClass = 0;
    std::uint8_t deviceSubclass = 0;
    std::uint8_t deviceProtocol = 0;
    std::uint8_t configurationValue = 0;
    std::uint8_t configurationCount = 0;
    std::vector<InterfaceRecord> interfaces;
};

// Linux' number for 480 Mbit/s.
inline constexpr std::uint32_t kHighSpeed = 3;

// What names an imported device in its commands.
constexpr std::uint32_t deviceId(const DeviceRecord& record) {
    return record.busNumber << 16 | record.deviceNumber;
}

enum class Command : std::uint32_t {
    submit = 1,
    unlink = 2,
    submitReply = 3,
    unlinkReply = 4,
};

enum class Direction : std::uint32_t { out = 0, in = 1 };

// Flags of a submission that matter here (Linux' URB flags).
inline constexpr std::uint32_t kShortNotOk = 0x0001;

struct Submit {
    std::uint32_t sequence = 0;
    std::uint32_t device = 0; // a deviceId()
    Direction direction = Direction::out;
    std::uint32_t endpoint = 0; // 0 to 15, without a direction bit
    std::uint32_t flags = 0;
    std::int32_t length = 0; // bytes that follow (out) or are wanted (in)
    std::int32_t startFrame = 0;
    std::int32_t packetCount = 0; // of isochronous requests; otherwise 0 or -1
    std::int32_t interval = 0;
    SetupPacket setup{}; // of requests to endpoint 0
};

struct Unlink {
    std::uint32_t sequence = 0;
    std::uint32_t device = 0;
    std::uint32_t unlinked = 0; // the sequence number of the submission
};

// Replies that carry data are followed by actualLength bytes.
struct SubmitReply {
    std::uint32_t sequence = 0; // of the submission
    std::int32_t status = 0;    // 0 or a negative errno
    std::int32_t actualLength = 0;
};

struct UnlinkReply {
    std::uint32_t sequence = 0; // of the unlink command
    std::int32_t status = 0;    // -ECONNRESET: it was still pending; 0: it was answered before
};

Bytes encodeOperation(Operation operation, OperationStatus status = OperationStatus::ok);
Bytes encodeImportRequest(const std::string& busId);
// A status other than ok is sent without the record.
Bytes encodeImportReply(OperationStatus status, const DeviceRecord& record);
Bytes encodeListReply(std::span<const DeviceRecord> records);

std::array<std::uint8_t, kCommandSize> encode(const Submit& command);
std::array<std::uint8_t, kCommandSize> encode(const Unlink& command);
std::array<std::uint8_t, kCommandSize> encode(const SubmitReply& reply);
std::array<std::uint8_t, kCommandSize> encode(const UnlinkReply& reply);

// nullopt: too few bytes, or a number that is none of the accepted ones.
std::optional<OperationHeader> decodeOperation(std::span<const std::uint8_t> bytes);
// The text up to its first NUL; nullopt when there is none within kBusIdSize bytes.
std::optional<std::string> decodeBusId(std::span<const std::uint8_t> bytes);
// What follows the operation header of a successful import: no interfaces.
std::optional<DeviceRecord> decodeDeviceRecord(std::span<const std::uint8_t> bytes);
// What follows the operation header of a list, to the last byte.
std::optional<std::vector<DeviceRecord>> decodeDeviceList(std::span<const std::uint8_t> bytes);
std::optional<std::variant<Submit, Unlink>> decodeCommand(std::span<const std::uint8_t> bytes);
std::optional<std::variant<SubmitReply, UnlinkReply>>
decodeReply(std::span<const std::uint8_t> bytes);

} // namespace tavo::usbip
