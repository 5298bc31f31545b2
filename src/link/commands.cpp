// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/assertions.h"
#include "core/clock.h"
#include "core/trace.h"
#include "link/command_codec.h"
#include "link/controller_requests.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;
using tavo::AssertionSite;

namespace {

constexpr unsigned kBasinBusAddress = 0x40;

// The temperature conversion behind this command takes a while.
constexpr unsigned kSlowCommand = 55;
constexpr long kSlowCommandPause = 100000; // microseconds

// LUMEN cameras hear commands through the controller's serial port.
constexpr unsigned kLumenSubCode = 2, kLumenParamA = 3, kLumenParamB = 1;

std::span<const std::uint8_t> argumentBytes(const unsigned char* argument, unsigned length) {
    return {argument, argument ? length : 0};
}

void pauseAfter(unsigned command) {
    if (command == kSlowCommand)
        tavo::sleepms(kSlowCommandPause);
}

} // namespace

bool TavoCameraImpl::sendCommandRidge(unsigned command, const unsigned char* argument,
                                      unsigned char* reply, unsigned argumentLength,
                                      unsigned replyLength) {
    const std::size_t length = tavo::ridgePacketLength(argumentLength);
    const auto packet = tavo::zeroedBuffer(length);
    if (!packet)
        return false;
    tavo::encodeRidgePacket({packet.get(), length}, command,
                            argumentBytes(argument, argumentLength));
    const bool sent = parOut(packet.get(), static_cast<unsigned>(length));
    pauseAfter(command);
    return sent && (!reply || parIn(reply, replyLength));
}

bool TavoCameraImpl::sendCommandBasin(unsigned command, const unsigned char* argument,
                                      unsigned char* reply, unsigned argumentLength,
                                      unsigned replyLength) {
    const std::size_t length = tavo::basinPacketLength(argumentLength);
    const auto packet = tavo::zeroedBuffer(length);
    if (!packet)
        return false;
    tavo::encodeBasinPacket({packet.get(), length}, command,
                            argumentBytes(argument, argumentLength));
    const bool sent = i2cWrite(kBasinBusAddress, packet.get(), static_cast<unsigned>(length));
    pauseAfter(command);
    if (!sent || !reply)
        return sent;
    const bool received = parIn(reply, replyLength);
    tavo::compactBasinReply({reply, replyLength});
    return received;
}

// The reply is the packet itself with the answer in the room that was left for it.
bool TavoCameraImpl::sendCommandLumen(unsigned command, const unsigned char* argument,
                                      unsigned char* reply, unsigned argumentLength,
                                      unsigned replyLength) {
    const std::size_t length = tavo::lumenPacketLength(argumentLength, replyLength);
    const auto packet = tavo::zeroedBuffer(length);
    if (!packet)
        return false;
    tavo::encodeLumenPacket({packet.get(), length}, command,
                            argumentBytes(argument, argumentLength));
    const auto size = static_cast<unsigned>(length);
    const bool ok = bulkTransfer(tavo::request::kSerial, false, kLumenSubCode, kLumenParamA,
                                 kLumenParamB, packet.get(), packet.get(), size, size);
    if (ok && reply)
        std::copy_n(packet.get() + tavo::kLumenCommandLead + argumentLength, replyLength, reply);
    return ok;
}

bool TavoCameraImpl::sendCommand(unsigned command, const unsigned char* argument,
                                 unsigned char* reply, unsigned argumentLength,
                                 unsigned replyLength) {
    trace::enter("TavoCameraImpl::sendCommand(%d, %s, ..., %d, %d)", command,
                 trace::dump(argument, argumentLength), argumentLength, replyLength);
    const auto send = [&] {
        switch (type) {
        case BASIN_CAMERA:
            return sendCommandBasin(command, argument, reply, argumentLength, replyLength);
        case RIDGE_CAMERA:
            return sendCommandRidge(command, argument, reply, argumentLength, replyLength);
        case LUMEN_CAMERA:
            return sendCommandLumen(command, argument, reply, argumentLength, replyLength);
        case HERON_CAMERA:
        case GLINT_CAMERA: break;
        }
        tavo::failAssertion(AssertionSite::sendCommandFamily);
    };
    const bool ok = send();
    trace::leave("TavoCameraImpl::sendCommand %d %s", ok, trace::dump(reply, replyLength));
    return ok;
}

bool TavoCameraImpl::sendCommand(unsigned command) {
    return sendCommand(command, nullptr, nullptr, 0, 0);
}

// No argument, and a reply.
bool TavoCameraImpl::query(unsigned command, std::span<std::uint8_t> reply) {
    return sendCommand(command, nullptr, reply.data(), 0, static_cast<unsigned>(reply.size()));
}

bool TavoCameraImpl::sendCommand(unsigned command, unsigned short value) {
    const auto encode = [&] {
        switch (type) {
        case BASIN_CAMERA:
        case RIDGE_CAMERA: return tavo::Payload<2>{}.u16le(value).done();
        case LUMEN_CAMERA: return tavo::Payload<2>{}.u16be(value).done();
        case HERON_CAMERA:
        case GLINT_CAMERA: break;
        }
        tavo::failAssertion(AssertionSite::sendValueFamily);
    };
    const auto argument = encode();
    return sendCommand(command, argument.data(), nullptr, argument.size(), 0);
}

// Low byte first on every family: a big-endian camera is given its values as a payload instead.
bool TavoCameraImpl::sendCommand(unsigned command, unsigned short value, unsigned char* reply,
                                 unsigned replyLength) {
    const auto argument = tavo::Payload<2>{}.u16le(value).done();
    return sendCommand(command, argument.data(), reply, argument.size(), replyLength);
}

bool TavoCameraImpl::getData(unsigned char* buffer, unsigned length) {
    switch (type) {
    case BASIN_CAMERA:
    case RIDGE_CAMERA: return parIn(buffer, length);
    case LUMEN_CAMERA:
        return bulkTransfer(tavo::request::kSerial, false, kLumenSubCode, kLumenParamA,
                            kLumenParamB, buffer, buffer, length, length);
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    tavo::failAssertion(AssertionSite::getDataFamily);
}

// Two bytes go straight into the low half of the value; the upper half stays.
bool TavoCameraImpl::getData(unsigned* value) {
    if (type == BASIN_CAMERA) {
        unsigned char word[4] = {};
        const bool ok = getData(word, sizeof word);
        *value = word[0] + 256u * word[2];
        return ok;
    }
    auto half = tavo::Payload<2>{}.u16le(*value).done();
    const bool ok = getData(half.data(), half.size());
    *value = (*value & 0xFFFF0000u) | tavo::u16le(half.data());
    return ok;
}

// Each read brings a character and a byte of no meaning, which the next read overwrites.
bool TavoCameraImpl::getString(char* buffer, unsigned size) {
    auto* bytes = reinterpret_cast<unsigned char*>(buffer);
    bool ok = false;
    unsigned position = 0;
    do
        ok = getData(bytes + position, 2);
    while (ok && bytes[position++] != 0 && position < size - 3);
    return ok;
}
