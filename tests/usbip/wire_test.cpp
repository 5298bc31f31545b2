// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usbip/wire.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tavo::usbip {
namespace {

Bytes bytesOf(const std::array<std::uint8_t, kCommandSize>& message) {
    return {message.begin(), message.end()};
}

Bytes filled(Bytes bytes, std::size_t size = kCommandSize) {
    bytes.resize(size);
    return bytes;
}

DeviceRecord camera() {
    DeviceRecord record;
    record.path = "/sys/x";
    record.busId = "1-2";
    record.busNumber = 1;
    record.deviceNumber = 3;
    record.speed = kHighSpeed;
    record.vendorId = 0x7a1d;
    record.productId = 0xdf2c;
    record.release = 0x0102;
    record.deviceClass = 0xff;
    record.deviceSubclass = 0xfe;
    record.deviceProtocol = 0xfd;
    record.configurationValue = 1;
    record.configurationCount = 2;
    record.interfaces = {{3, 4, 5}};
    return record;
}

Bytes cameraBytes() {
    Bytes bytes{'/', 's', 'y', 's', '/', 'x'};
    bytes.resize(256);
    bytes.insert(bytes.end(), {'1', '-', '2'});
    bytes.resize(288);
    bytes.insert(bytes.end(), {0,    0,    0,    1,    0, 0, 0,    3,    0,    0, 0, 3,
                               0x7a, 0x1d, 0xdf, 0x2c, 1, 2, 0xff, 0xfe, 0xfd, 1, 2, 1});
    return bytes;
}

TEST(UsbipOperation, Requests) {
    EXPECT_EQ(encodeOperation(Operation::requestList), (Bytes{0x01, 0x11, 0x80, 0x05, 0, 0, 0, 0}));
    Bytes request{0x01, 0x11, 0x80, 0x03, 0, 0, 0, 0, '1', '-', '2'};
    EXPECT_EQ(encodeImportRequest("1-2"), filled(request, 40));
}

TEST(UsbipOperation, ImportReplyCarriesTheRecord) {
    Bytes expected{0x01, 0x11, 0x00, 0x03, 0, 0, 0, 0};
    const Bytes record = cameraBytes();
    expected.insert(expected.end(), record.begin(), record.end());
    EXPECT_EQ(record.size(), kDeviceRecordSize);
    EXPECT_EQ(encodeImportReply(OperationStatus::ok, camera()), expected);
}

TEST(UsbipOperation, RefusedImportCarriesNothing) {
    EXPECT_EQ(encodeImportReply(OperationStatus::busy, camera()),
              (Bytes{0x01, 0x11, 0x00, 0x03, 0, 0, 0, 2}));
    EXPECT_EQ(encodeImportReply(OperationStatus::noSuchDevice, camera()),
              (Bytes{0x01, 0x11, 0x00, 0x03, 0, 0, 0, 4}));
}

TEST(UsbipOperation, ListCarriesInterfaces) {
    Bytes expected{0x01, 0x11, 0x00, 0x05, 0, 0, 0, 0, 0, 0, 0, 1};
    const Bytes record = cameraBytes();
    expected.insert(expected.end(), record.begin(), record.end());
    expected.insert(expected.end(), {3, 4, 5, 0});
    EXPECT_EQ(encodeListReply(std::vector{camera()}), expected);
}

TEST(UsbipOperation, LongTextIsCutAndEnded) {
    DeviceRecord record = camera();
    record.busId = std::string(100, 'b');
    const Bytes reply = encodeImportReply(OperationStatus::ok, record);
    ASSERT_EQ(reply.size(), kOperationHeaderSize + kDeviceRecordSize);
    EXPECT_EQ(reply[8 + 256 + 30], 'b');
    EXPECT_EQ(reply[8 + 256 + 31], 0);
}

TEST(UsbipOperation, HeaderAndBusIdAreRead) {
    const Bytes bytes{0x01, 0x11, 0x80, 0x03, 1, 2, 3, 4};
    const auto header = decodeOperation(bytes);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->version, 0x0111);
    EXPECT_EQ(header->code, 0x8003);
    EXPECT_EQ(header->status, 0x01020304u);
    EXPECT_FALSE(decodeOperation(std::span(bytes).first(7)));

    EXPECT_EQ(decodeBusId(filled({'1', '-', '2'}, 32)), "1-2");
    EXPECT_FALSE(decodeBusId(Bytes(32, 'x'))) << "no end";
    EXPECT_FALSE(decodeBusId(Bytes(3, 'x')));
}

TEST(UsbipOperation, RecordsAreRead) {
    const auto record = decodeDeviceRecord(cameraBytes());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->path, "/sys/x");
    EXPECT_EQ(record->busId, "1-2");
    EXPECT_EQ(record->speed, kHighSpeed);
    EXPECT_EQ(record->vendorId, 0x7a1d);
    EXPECT_EQ(record->productId, 0xdf2c);
    EXPECT_EQ(record->release, 0x0102);
    EXPECT_EQ(record->deviceProtocol, 0xfd);
    EXPECT_EQ(record->configurationCount, 2);
    EXPECT_EQ(deviceId(*record), 0x00010003u);
    EXPECT_FALSE(decodeDeviceRecord(Bytes(kDeviceRecordSize - 1)));
}

TEST(UsbipOperation, ListsAreReadToTheLastByte) {
    Bytes list = encodeListReply(std::vector{camera(), camera()});
    list.erase(list.begin(), list.begin() + kOperationHeaderSize);
    const auto records = decodeDeviceList(list);
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 2u);
    ASSERT_EQ(records->at(1).interfaces.size(), 1u);
    EXPECT_EQ(records->at(1).interfaces[0].interfaceProtocol, 5);
    EXPECT_FALSE(decodeDeviceList(std::span(list).first(list.size() - 1)));
    list.push_back(0);
    EXPECT_FALSE(decodeDeviceList(list));
    EXPECT_FALSE(decodeDeviceList(Bytes{0xff, 0xff, 0xff, 0xff})) << "more than there are";
}

TEST(UsbipCommand, Submit) {
    Submit submit;
    submit.sequence = 0x01020304;
    submit.device = 0x00010002;
    submit.direction = Direction::in;
    submit.endpoint = 6;
    submit.flags = 0x0201;
    submit.length = 0x11223344;
    submit.startFrame = 5;
    submit.packetCount = -1;
    submit.interval = 7;
    submit.setup = {0x80, 6, 0x0102, 0x0304, 0x0506};
    const Bytes expected{0,    0,    0,    1,    1, 2, 3, 4, 0,    1,    0,    2,    0, 0, 0, 1,
                         0,    0,    0,    6,    0, 0, 2, 1, 0x11, 0x22, 0x33, 0x44, 0, 0, 0, 5,
                         0xff, 0xff, 0xff, 0xff, 0, 0, 0, 7, 0x80, 6,    2,    1,    4, 3, 6, 5};
    EXPECT_EQ(bytesOf(encode(submit)), expected);

    const auto read = decodeCommand(expected);
    ASSERT_TRUE(read && std::holds_alternative<Submit>(*read));
    const auto& again = std::get<Submit>(*read);
    EXPECT_EQ(bytesOf(encode(again)), expected);
    EXPECT_EQ(again.setup.value, 0x0102);
    EXPECT_EQ(again.length, 0x11223344);
    EXPECT_EQ(again.packetCount, -1);
}

TEST(UsbipCommand, Unlink) {
    const Bytes expected =
        filled({0, 0, 0, 2, 0, 0, 0, 9, 0, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4});
    EXPECT_EQ(bytesOf(encode(Unlink{9, 0x00010002, 0x01020304})), expected);
    const auto read = decodeCommand(expected);
    ASSERT_TRUE(read && std::holds_alternative<Unlink>(*read));
    EXPECT_EQ(std::get<Unlink>(*read).sequence, 9u);
    EXPECT_EQ(std::get<Unlink>(*read).device, 0x00010002u);
    EXPECT_EQ(std::get<Unlink>(*read).unlinked, 0x01020304u);
}

TEST(UsbipCommand, Replies) {
    const Bytes submitted = filled({0, 0, 0, 3, 0, 0, 0,    9,    0,    0,    0, 0, 0, 0,
                                    0, 0, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0xe0, 0, 0, 2, 1});
    EXPECT_EQ(bytesOf(encode(SubmitReply{9, -32, 513})), submitted);
    const Bytes unlinked = filled(
        {0, 0, 0, 4, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0x98});
    EXPECT_EQ(bytesOf(encode(UnlinkReply{9, -104})), unlinked);

    const auto first = decodeReply(submitted);
    ASSERT_TRUE(first && std::holds_alternative<SubmitReply>(*first));
    EXPECT_EQ(std::get<SubmitReply>(*first).status, -32);
    EXPECT_EQ(std::get<SubmitReply>(*first).actualLength, 513);
    const auto second = decodeReply(unlinked);
    ASSERT_TRUE(second && std::holds_alternative<UnlinkReply>(*second));
    EXPECT_EQ(std::get<UnlinkReply>(*second).sequence, 9u);
    EXPECT_EQ(std::get<UnlinkReply>(*second).status, -104);
}

TEST(UsbipCommand, NonsenseIsRefused) {
    const auto refused = [](std::size_t place, std::uint8_t value) {
        Bytes bytes = bytesOf(encode(Submit{}));
        bytes[place] = value;
        return !decodeCommand(bytes);
    };
    EXPECT_FALSE(refused(3, 1));
    EXPECT_TRUE(refused(3, 0)) << "no command";
    EXPECT_TRUE(refused(3, 3)) << "a reply";
    EXPECT_TRUE(refused(0, 1)) << "not command 1";
    EXPECT_FALSE(refused(15, 1));
    EXPECT_TRUE(refused(15, 2)) << "neither out nor in";
    EXPECT_FALSE(refused(19, 15));
    EXPECT_TRUE(refused(19, 16)) << "endpoint";
    EXPECT_FALSE(decodeCommand(Bytes(kCommandSize - 1)));
    EXPECT_FALSE(decodeReply(bytesOf(encode(Submit{}))));
    EXPECT_FALSE(decodeReply(Bytes(kCommandSize - 1)));
}

} // namespace
} // namespace tavo::usbip
