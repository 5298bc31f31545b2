// SPDX-License-Identifier: LGPL-2.1-or-later
#include "virtual_camera/nonsense_host.h"

#include <algorithm>

namespace tavo::fuzz {

using virtualcamera::Model;
using virtualusb::Bytes;
using virtualusb::Outcome;
using virtualusb::Reply;

namespace {

constexpr std::uint32_t kLongestRead = 1 << 16;
constexpr std::uint8_t kRequests = 0x04, kReplies = 0x86, kLinkOut = 0x02, kLinkIn = 0x88,
                       kFramePipe = 0x81;

Bytes little(std::uint32_t value, unsigned length) {
    Bytes bytes;
    for (unsigned i = 0; i < length; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace

void NonsenseHost::control(std::uint8_t type, std::uint8_t code, std::uint16_t value,
                           std::uint16_t index, const Bytes& data) {
    device.controlOut({type, code, value, index, static_cast<std::uint16_t>(data.size())}, data);
}

Bytes NonsenseHost::frame(std::uint8_t code, bool replyPhase, const Bytes& middle,
                          const Bytes& payload, std::uint32_t reply) {
    Bytes bytes{code, transaction++, static_cast<std::uint8_t>(replyPhase ? 0xFF : 0)};
    append(bytes, middle);
    bytes.resize(8);
    append(bytes, little(reply, 4));
    append(bytes, little(static_cast<std::uint32_t>(payload.size()), 4));
    append(bytes, payload);
    return bytes;
}

Reply NonsenseHost::request(std::uint8_t code, bool replyPhase, const Bytes& middle,
                            const Bytes& payload, std::uint32_t reply) {
    if (device.bulkOut(kRequests, frame(code, replyPhase, middle, payload, reply)) != Outcome::done)
        return {};
    return reply == 0 && !replyPhase ? Reply{Outcome::done, {}}
                                     : checkedRead(device, kReplies, reply + 4);
}

// What every host does first; the processor runs afterwards.
void NonsenseHost::release() {
    device.setAlternateSetting(0, 1);
    control(0x40, 0xA0, 0xE600, 0, {1});
    control(0x40, 0xA0, 0x0000, 0, {2, 0, 0});
    control(0x40, 0xA0, 0xE600, 0, {0});
}

bool NonsenseHost::answersRequests() {
    release();
    const Reply reply = request(3, false, {}, {}, 5);
    return reply.outcome == Outcome::done && reply.data.size() == 9;
}

bool NonsenseHost::takesFrames(const Model& model) {
    constexpr std::uint16_t kInitialise = 0x0000, kMode = 0x0604, kFormat = 0x0608,
                            kTrigger = 0x061C, kSerial = 0x1F20;
    const auto writes = [&](std::uint16_t offset, std::uint32_t value) {
        return device.controlOut({0x40, 0x7F, offset, 0xF0F0, 4}, little(value, 4)) ==
               Outcome::done;
    };
    const Reply serial = device.controlIn({0xC0, 0x7F, kSerial, 0xF0F0, 4});
    if (serial.outcome != Outcome::done || serial.data != little(model.serial, 4) ||
        !writes(kInitialise, 0x80000000))
        return false;
    constexpr std::uint64_t second = 1'000'000;
    cable.wait(second);
    if (!writes(kFormat, 0x40000000) || !writes(kMode, 0x40000000) || !writes(kTrigger, 0x80000000))
        return false;
    cable.wait(10 * second);
    const std::uint32_t length = model.sensor.width * model.sensor.height;
    const Reply frame = checkedRead(device, kFramePipe, length);
    return frame.outcome == Outcome::done && frame.data.size() == length;
}

// Ports, bus time-outs, and tables of the link as the input has them.
void NonsenseHost::bringUp() {
    release();
    request(2, false, {}, {0x00, 0x9F, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0}, 0);
    request(1, false, {}, {0, 0x80, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0}, 0);
    request(12, false, {1, 50, 0}, {}, 0);
    request(12, false, {0, 0xE8, 3}, {}, 0);
    request(5, false, {0}, {}, 0);
}

void NonsenseHost::linkRead(std::uint32_t length) {
    request(9, false,
            {0, static_cast<std::uint8_t>(length >> 16), static_cast<std::uint8_t>(length >> 24),
             static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8)},
            {}, 0);
    std::uint32_t left = length + 1;
    for (int tries = 0; tries < 6 && left > 0; ++tries) {
        const Reply reply = checkedRead(device, kLinkIn, left);
        left -= static_cast<std::uint32_t>(reply.data.size());
        const auto wake = device.wakeIn();
        if (reply.outcome == Outcome::stalled || reply.outcome == Outcome::gone || !wake)
            return;
        cable.wait(std::min<std::uint64_t>(*wake, 10'000'000) + 1);
    }
    device.cancelled(kLinkIn);
}

// As each family wants them wrapped.
void NonsenseHost::command() {
    const std::uint8_t number = input.u8();
    const Bytes argument = input.bytes(input.below(20));
    const std::uint8_t reply = input.u8() % 32;
    switch (input.below(3)) {
    case 0: {
        Bytes packet{'C', 0, 'M', 0, 'D', 0, number, 0};
        append(packet, argument);
        packet.resize(packet.size() + packet.size() % 2);
        device.bulkOut(kLinkOut, packet);
        request(10, true, {}, {}, 0);
        break;
    }
    case 1: {
        Bytes packet{0x80, 'V', 'R', 'Q', number};
        append(packet, argument);
        request(4, true, {0, 0, 0, 1, 0}, packet, 0);
        break;
    }
    default: {
        Bytes packet{'C', 'M', 'D', number};
        append(packet, argument);
        packet.resize(packet.size() + reply);
        request(6, false, {2, 3, 0, 1, 0}, packet, static_cast<std::uint32_t>(packet.size()));
    }
    }
    if (reply > 0)
        linkRead(reply);
}

void NonsenseHost::standardTraffic() {
    switch (input.below(6)) {
    case 0: device.setAlternateSetting(input.below(3), input.below(3)); break;
    case 1: device.reset(); break;
    case 2: device.cancelled(input.u8()); break;
    case 3:
        control(input.u8(), input.u8(), input.u16(), input.u16(), input.bytes(input.u8()));
        break;
    case 4: {
        const std::uint8_t type = input.u8() | 0x80;
        const std::uint8_t code = input.u8();
        const std::uint16_t value = input.u16(), index = input.u16(), length = input.u16();
        const Reply reply = device.controlIn({type, code, value, index, length});
        require(reply.data.size() <= length, "no more than was asked for");
        break;
    }
    default: (void)device.wakeIn();
    }
}

void NonsenseHost::registerAccess() {
    const std::uint16_t offset = input.u16() & 0x1FFC;
    if (input.flag())
        control(0x40, 0x7F, offset, 0xF0F0, input.bytes(4));
    else
        device.controlIn({0xC0, 0x7F, offset, 0xF0F0, 4});
}

void NonsenseHost::step() {
    switch (input.below(12)) {
    case 0: bringUp(); break;
    case 1: device.bulkOut(input.u8() & 0x0F, input.bytes(input.u16() % 600)); break;
    case 2: checkedRead(device, input.u8() | 0x80, input.u32() % kLongestRead); break;
    case 3:
        request(static_cast<std::uint8_t>(input.below(14)), input.flag(), input.bytes(5),
                input.bytes(input.below(200)), input.u8());
        break;
    case 4: cable.wait(input.u32() % 5'000'000); break;
    case 5: linkRead(input.u16()); break;
    case 6: registerAccess(); break;
    case 7: standardTraffic(); break;
    case 8: cable.wait(input.u8() * 1000u); break;
    default: command();
    }
}

} // namespace tavo::fuzz
