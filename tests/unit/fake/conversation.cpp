// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/conversation.h"

#include <algorithm>
#include <cstdio>

namespace tavo::test {
namespace {

constexpr std::uint8_t kVendorOut = 0x40;
constexpr std::uint8_t kVendorIn = 0xC0;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

const char* name(Call call) {
    switch (call) {
    case Call::init: return "libusb_init";
    case Call::deviceList: return "libusb_get_device_list";
    case Call::descriptor: return "libusb_get_device_descriptor";
    case Call::refDevice: return "libusb_ref_device";
    case Call::unrefDevice: return "libusb_unref_device";
    case Call::openDevice: return "libusb_open";
    case Call::closeDevice: return "libusb_close";
    case Call::kernelDriverActive: return "libusb_kernel_driver_active";
    case Call::detachKernelDriver: return "libusb_detach_kernel_driver";
    case Call::claimInterface: return "libusb_claim_interface";
    case Call::setAltSetting: return "libusb_set_interface_alt_setting";
    case Call::bulkOut: return "bulk out";
    case Call::bulkIn: return "bulk in";
    case Call::controlOut: return "control out";
    case Call::controlIn: return "control in";
    case Call::pause: return "pause";
    }
    return "?";
}

bool isOut(Call call) {
    return call == Call::bulkOut || call == Call::controlOut;
}

std::string hex(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

std::string hexBytes(const Bytes& bytes) {
    constexpr std::size_t kShown = 200;
    std::string text;
    for (std::size_t i = 0; i < std::min(bytes.size(), kShown); ++i)
        text += " " + hex(bytes[i], 2);
    return bytes.size() > kShown ? text + " ..." : text;
}

Bytes comparable(const Row& row, bool anyTransaction) {
    Bytes bytes = row.data;
    if (anyTransaction && bytes.size() > 1)
        bytes[1] = 0;
    return bytes;
}

} // namespace

Row Row::within(unsigned milliseconds) const {
    Row changed = *this;
    changed.timeout = milliseconds;
    return changed;
}

Row Row::failing(int error) const {
    Row changed = *this;
    changed.result = error;
    return changed;
}

Row Row::moving(std::size_t count) const {
    Row changed = *this;
    changed.moved = count;
    return changed;
}

Bytes frameBytes(const Frame& request) {
    const auto wanted = request.replyLength;
    const auto sent = static_cast<unsigned>(request.payload.size());
    Bytes bytes{low(request.code),
                0,
                low(request.flag ? 0xFF : 0),
                low(request.subCode),
                low(request.a),
                low(request.a >> 8),
                low(request.b),
                low(request.b >> 8),
                low(wanted),
                low(wanted >> 8),
                low(wanted >> 16),
                low(wanted >> 24),
                low(sent),
                low(sent >> 8),
                low(sent >> 16),
                low(sent >> 24)};
    bytes.insert(bytes.end(), request.payload.begin(), request.payload.end());
    return bytes;
}

Row out(unsigned endpoint, Bytes data) {
    Row row;
    row.call = Call::bulkOut;
    row.endpoint = endpoint;
    row.length = data.size();
    row.data = std::move(data);
    return row;
}

Row in(unsigned endpoint, Bytes given) {
    Row row;
    row.call = Call::bulkIn;
    row.endpoint = endpoint;
    row.length = given.size();
    row.data = std::move(given);
    return row;
}

Row inZeros(unsigned endpoint, std::size_t zeros) {
    return in(endpoint, Bytes(zeros));
}

Row frame(const Frame& request) {
    Row row = out(0x04, frameBytes(request));
    row.anyTransaction = true;
    return row;
}

Row frameReply(Bytes data) {
    data.insert(data.begin(), 0xA5);
    data.insert(data.end(), {0xB1, 0xB2, 0xB3});
    return in(0x86, std::move(data));
}

Row controlOut(std::uint8_t request, unsigned value, unsigned index, Bytes data) {
    Row row = out(0, std::move(data));
    row.call = Call::controlOut;
    row.requestType = kVendorOut;
    row.request = request;
    row.value = static_cast<std::uint16_t>(value);
    row.index = static_cast<std::uint16_t>(index);
    row.timeout = 3000;
    return row;
}

Row controlIn(std::uint8_t request, unsigned value, unsigned index, Bytes given) {
    Row row = controlOut(request, value, index, std::move(given));
    row.call = Call::controlIn;
    row.requestType = kVendorIn;
    return row;
}

Row pause(long microseconds) {
    Row row;
    row.call = Call::pause;
    row.microseconds = microseconds;
    return row;
}

Row device(Call call, int result) {
    Row row;
    row.call = call;
    row.result = result;
    return row;
}

Rows parallelOut(Bytes data) {
    return {out(0x02, std::move(data)), frame({.code = 10, .flag = true}), inZeros(0x86, 4)};
}

Rows parallelIn(Bytes given) {
    const auto length = static_cast<unsigned>(given.size());
    given.push_back(0xEE);
    return {frame({.code = 9, .a = length >> 16, .b = length & 0xFFFF}),
            in(0x88, std::move(given))};
}

Rows framedExchange(Frame request, const Bytes& reply) {
    request.replyLength = static_cast<unsigned>(reply.size());
    if (reply.empty() && !request.flag)
        return {frame(request)};
    return {frame(request), frameReply(reply)};
}

Rows together(std::initializer_list<Rows> parts) {
    Rows all;
    for (const Rows& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes spaced(const Bytes& bytes) {
    Bytes result;
    for (const std::uint8_t byte : bytes) {
        result.push_back(byte);
        result.push_back(0);
    }
    return result;
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string describe(const Row& row) {
    std::string text = name(row.call);
    switch (row.call) {
    case Call::pause: return text + " " + std::to_string(row.microseconds) + " us";
    case Call::bulkOut:
    case Call::bulkIn: text += " 0x" + hex(row.endpoint, 2); break;
    case Call::controlOut:
    case Call::controlIn:
        text += " type " + hex(row.requestType, 2) + " request " + hex(row.request, 2) + " value " +
                hex(row.value, 4) + " index " + hex(row.index, 4);
        break;
    case Call::init:
    case Call::deviceList:
    case Call::descriptor:
    case Call::refDevice:
    case Call::unrefDevice:
    case Call::openDevice:
    case Call::closeDevice:
    case Call::kernelDriverActive:
    case Call::detachKernelDriver:
    case Call::claimInterface:
    case Call::setAltSetting: return text;
    }
    text += ", " + std::to_string(row.length) + " bytes";
    if (row.timeout)
        text += ", timeout " + std::to_string(*row.timeout) + " ms";
    return isOut(row.call) ? text + ":" + hexBytes(row.data) : text;
}

std::string difference(const Row& expected, const Row& actual) {
    if (expected.call != actual.call)
        return "another call";
    if (expected.microseconds != actual.microseconds)
        return "another pause";
    if (expected.endpoint != actual.endpoint)
        return "another endpoint";
    if (expected.requestType != actual.requestType || expected.request != actual.request ||
        expected.value != actual.value || expected.index != actual.index)
        return "another request";
    if (expected.length != actual.length)
        return "another length";
    if (expected.timeout && expected.timeout != actual.timeout)
        return "another timeout";
    if (isOut(expected.call) && comparable(expected, expected.anyTransaction) !=
                                    comparable(actual, expected.anyTransaction))
        return "other bytes";
    return "";
}

} // namespace tavo::test
