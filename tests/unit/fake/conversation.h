// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A conversation with a camera as data. One row is one call that the library makes of libusb or of
// usleep; the same type records calls, states expectations and carries the answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <libusb.h>
#include <optional>
#include <string>
#include <vector>

namespace tavo::test {

using Bytes = std::vector<std::uint8_t>;

enum class Call {
    init,
    deviceList,
    descriptor,
    refDevice,
    unrefDevice,
    openDevice,
    closeDevice,
    kernelDriverActive,
    detachKernelDriver,
    claimInterface,
    setAltSetting,
    bulkOut,
    bulkIn,
    controlOut,
    controlIn,
    pause,
};

struct Row {
    Call call = Call::pause;
    unsigned endpoint = 0; // bulk
    std::uint8_t requestType = 0, request = 0;
    std::uint16_t value = 0, index = 0;
    std::size_t length = 0;          // bytes written or asked for
    std::optional<unsigned> timeout; // milliseconds; compared only where an expectation names one
    Bytes data;                      // bytes written, or bytes given
    bool anyTransaction = false;     // byte 1 of a framed request is not compared
    long microseconds = 0;
    int result = 0;                   // libusb's answer; of a control transfer only when negative
    std::optional<std::size_t> moved; // a short count

    // Changes for rows of a conversation: `in(0x86, {1, 2}).failing(LIBUSB_ERROR_IO)`.
    Row within(unsigned milliseconds) const;
    Row failing(int error) const;
    Row moving(std::size_t count) const;
};

using Rows = std::vector<Row>;

// The fields of the 16-byte request header and its payload.
struct Frame {
    unsigned code = 0;
    bool flag = false;
    unsigned subCode = 0;
    unsigned a = 0, b = 0;
    Bytes payload{};
    unsigned replyLength = 0;
};

Bytes frameBytes(const Frame& frame); // transaction byte 0
Row out(unsigned endpoint, Bytes data);
Row in(unsigned endpoint, Bytes given);
Row inZeros(unsigned endpoint, std::size_t length);
Row frame(const Frame& request); // the request alone, any transaction byte
Row frameReply(Bytes data);      // a leading byte, the data, three trailing bytes
Row controlOut(std::uint8_t request, unsigned value, unsigned index, Bytes data);
Row controlIn(std::uint8_t request, unsigned value, unsigned index, Bytes given);
Row pause(long microseconds);
Row device(Call call, int result = 0);

// Whole exchanges. `parallelOut` writes to endpoint 2 and commits; `parallelIn` asks for the length
// and reads one byte more.
Rows parallelOut(Bytes data);
Rows parallelIn(Bytes given);
Rows framedExchange(Frame request, const Bytes& reply);

Rows together(std::initializer_list<Rows> parts);

// Every second byte zero: how values of one byte stand in the replies of some families.
Bytes spaced(const Bytes& bytes);
Bytes joined(std::initializer_list<Bytes> parts);

std::string describe(const Row& row);
// Empty when `actual` is what `expected` says, else what differs.
std::string difference(const Row& expected, const Row& actual);

} // namespace tavo::test
