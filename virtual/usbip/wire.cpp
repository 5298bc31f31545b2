// SPDX-License-Identifier: LGPL-2.1-or-later
#include "wire.h"

#include "fields.h"

namespace tavo::usbip {
namespace {

constexpr std::size_t kPathSize = 256;
constexpr std::uint32_t kLastEndpoint = 15;

using CommandBytes = std::array<std::uint8_t, kCommandSize>;

FieldWriter operation(Operation code, OperationStatus status) {
    FieldWriter writer;
    writer.u16(kProtocolVersion)
        .u16(static_cast<std::uint16_t>(code))
        .u32(static_cast<std::uint32_t>(status));
    return writer;
}

void append(FieldWriter& writer, const DeviceRecord& record) {
    writer.text(record.path, kPathSize)
        .text(record.busId, kBusIdSize)
        .u32(record.busNumber)
        .u32(record.deviceNumber)
        .u32(record.speed)
        .u16(record.vendorId)
        .u16(record.productId)
        .u16(record.release)
        .u8(record.deviceClass)
        .u8(record.deviceSubclass)
        .u8(record.deviceProtocol)
        .u8(record.configurationValue)
        .u8(record.configurationCount)
        .u8(static_cast<unsigned>(record.interfaces.size()));
}

// The head that all commands and replies have; replies leave the last three fields zero.
FieldWriter command(Command code, std::uint32_t sequence, std::uint32_t device = 0,
                    Direction direction = Direction::out, std::uint32_t endpoint = 0) {
    FieldWriter writer;
    writer.u32(static_cast<std::uint32_t>(code))
        .u32(sequence)
        .u32(device)
        .u32(static_cast<std::uint32_t>(direction))
        .u32(endpoint);
    return writer;
}

CommandBytes filled(FieldWriter& writer) {
    const Bytes bytes = writer.done();
    CommandBytes result{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), result.size()), result.begin());
    return result;
}

DeviceRecord readDevice(FieldReader& reader) {
    DeviceRecord record;
    record.path = reader.text(kPathSize);
    record.busId = reader.text(kBusIdSize);
    record.busNumber = reader.u32();
    record.deviceNumber = reader.u32();
    record.speed = reader.u32();
    record.vendorId = reader.u16();
    record.productId = reader.u16();
    record.release = reader.u16();
    record.deviceClass = reader.u8();
    record.deviceSubclass = reader.u8();
    record.deviceProtocol = reader.u8();
    record.configurationValue = reader.u8();
    record.configurationCount = reader.u8();
    record.interfaces.resize(reader.u8());
    return record;
}

SetupPacket readSetup(FieldReader& reader) {
    SetupPacket setup{};
    setup.requestType = reader.u8();
    setup.request = reader.u8();
    setup.value = reader.u16le();
    setup.index = reader.u16le();
    setup.length = reader.u16le();
    return setup;
}

} // namespace

Bytes encodeOperation(Operation code, OperationStatus status) {
    return operation(code, status).done();
}

Bytes encodeImportRequest(const std::string& busId) {
    return operation(Operation::requestImport, OperationStatus::ok).text(busId, kBusIdSize).done();
}

Bytes encodeImportReply(OperationStatus status, const DeviceRecord& record) {
    FieldWriter writer = operation(Operation::replyImport, status);
    if (status == OperationStatus::ok)
        append(writer, record);
    return writer.done();
}

Bytes encodeListReply(std::span<const DeviceRecord> records) {
    FieldWriter writer = operation(Operation::replyList, OperationStatus::ok);
    writer.u32(static_cast<std::uint32_t>(records.size()));
    for (const DeviceRecord& record : records) {
        append(writer, record);
        for (const InterfaceRecord& interface : record.interfaces)
            writer.u8(interface.interfaceClass)
                .u8(interface.interfaceSubclass)
                .u8(interface.interfaceProtocol)
                .u8(0);
    }
    return writer.done();
}

CommandBytes encode(const Submit& submit) {
    FieldWriter writer =
        command(Command::submit, submit.sequence, submit.device, submit.direction, submit.endpoint);
    writer.u32(submit.flags)
        .i32(submit.length)
        .i32(submit.startFrame)
        .i32(submit.packetCount)
        .i32(submit.interval)
        .u8(submit.setup.requestType)
        .u8(submit.setup.request)
        .u16le(submit.setup.value)
        .u16le(submit.setup.index)
        .u16le(submit.setup.length);
    return filled(writer);
}

CommandBytes encode(const Unlink& unlink) {
    FieldWriter writer = command(Command::unlink, unlink.sequence, unlink.device);
    writer.u32(unlink.unlinked);
    return filled(writer);
}

CommandBytes encode(const SubmitReply& reply) {
    FieldWriter writer = command(Command::submitReply, reply.sequence);
    writer.i32(reply.status).i32(reply.actualLength);
    return filled(writer);
}

CommandBytes encode(const UnlinkReply& reply) {
    FieldWriter writer = command(Command::unlinkReply, reply.sequence);
    writer.i32(reply.status);
    return filled(writer);
}

std::optional<OperationHeader> decodeOperation(std::span<const std::uint8_t> bytes) {
    FieldReader reader(bytes);
    OperationHeader header;
    header.version = reader.u16();
    header.code = reader.u16();
    header.status = reader.u32();
    return reader.complete() ? std::optional(header) : std::nullopt;
}

std::optional<std::string> decodeBusId(std::span<const std::uint8_t> bytes) {
    FieldReader reader(bytes);
    std::string busId = reader.text(kBusIdSize);
    return reader.complete() ? std::optional(std::move(busId)) : std::nullopt;
}

std::optional<DeviceRecord> decodeDeviceRecord(std::span<const std::uint8_t> bytes) {
    FieldReader reader(bytes);
    DeviceRecord record = readDevice(reader);
    record.interfaces.clear();
    return reader.complete() ? std::optional(std::move(record)) : std::nullopt;
}

std::optional<std::vector<DeviceRecord>> decodeDeviceList(std::span<const std::uint8_t> bytes) {
    FieldReader reader(bytes);
    std::vector<DeviceRecord> records;
    for (std::uint32_t left = reader.u32(); left > 0 && reader.complete(); --left) {
        records.push_back(readDevice(reader));
        for (InterfaceRecord& interface : records.back().interfaces) {
            interface.interfaceClass = reader.u8();
            interface.interfaceSubclass = reader.u8();
            interface.interfaceProtocol = reader.u8();
            reader.skip(1);
        }
    }
    if (!reader.complete() || reader.left() > 0)
        return std::nullopt;
    return records;
}

std::optional<std::variant<Submit, Unlink>> decodeCommand(std::span<const std::uint8_t> bytes) {
    FieldReader reader(bytes.first(std::min(bytes.size(), kCommandSize)));
    const auto code = static_cast<Command>(reader.u32());
    Submit submit;
    submit.sequence = reader.u32();
    submit.device = reader.u32();
    const std::uint32_t direction = reader.u32();
    submit.endpoint = reader.u32();
    if (bytes.size() < kCommandSize)
        return std::nullopt;
    if (code == Command::unlink)
        return Unlink{submit.sequence, submit.device, reader.u32()};
    if (code != Command::submit || direction > 1 || submit.endpoint > kLastEndpoint)
        return std::nullopt;
    submit.direction = static_cast<Direction>(direction);
    submit.flags = reader.u32();
    submit.length = reader.i32();
    submit.startFrame = reader.i32();
    submit.packetCount = reader.i32();
    submit.interval = reader.i32();
    submit.setup = readSetup(reader);
    return submit;
}

std::optional<std::variant<SubmitReply, UnlinkReply>>
decodeReply(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kCommandSize)
        return std::nullopt;
    FieldReader reader(bytes);
    const auto code = static_cast<Command>(reader.u32());
    const std::uint32_t sequence = reader.u32();
    reader.skip(12);
    const std::int32_t status = reader.i32();
    if (code == Command::submitReply)
        return SubmitReply{sequence, status, reader.i32()};
    if (code == Command::unlinkReply)
        return UnlinkReply{sequence, status};
    return std::nullopt;
}

} // namespace tavo::usbip
