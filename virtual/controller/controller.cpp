// SPDX-License-Identifier: LGPL-2.1-or-later
#include "controller.h"

#include "bytes.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tavo::virtualcamera {

using virtualusb::Outcome;
using virtualusb::Reply;

namespace {

constexpr std::size_t kMemorySize = 0x10000;
constexpr std::uint16_t kCpuControl = 0xE600;
constexpr std::uint8_t kLongTableFlag = 0x80;
constexpr std::uint32_t kLongTable = 172;
constexpr std::uint32_t kShortTable = 152;

constexpr std::uint32_t kMostBytes = 65536;
constexpr NumberRange kZero{0, 0};
constexpr NumberRange kAnyWord{0, 0xFFFF};

} // namespace

// Direction flag, sub-code, A, B, payload and reply.
const Controller::Handler Controller::kHandlers[] = {
    {1,
     "set port states",
     {false, kZero, kZero, kZero, {16, 16}, kZero},
     &Controller::setPortStates},
    {2,
     "set port directions",
     {false, kZero, kZero, kZero, {10, 10}, kZero},
     &Controller::setPortDirections},
    {3, "read ports", {false, kZero, kZero, kZero, kZero, {5, 5}}, &Controller::getPortLevels},
    {4,
     "I2C transfer",
     {true, kZero, kZero, {1, 1}, {1, kMostBytes}, {0, kMostBytes}},
     &Controller::transferI2c},
    {5, "set I2C speed", {false, {0, 0xFF}, kZero, kZero, kZero, kZero}, &Controller::setI2cSpeed},
    {6,
     "serial transfer",
     {false, {1, 2}, kAnyWord, kAnyWord, {1, kMostBytes}, {1, kMostBytes}},
     &Controller::transferSerial},
    {8,
     "load parallel link table",
     {true, kZero, kZero, kZero, {kShortTable, kLongTable}, kZero},
     &Controller::loadLinkTable},
    {9,
     "parallel link read",
     {false, kZero, kAnyWord, kAnyWord, kZero, kZero},
     &Controller::readLink},
    {10, "parallel link write", {true, kZero, kZero, kZero, kZero, kZero}, &Controller::writeLink},
    {12, "set time-out", {false, {0, 1}, kAnyWord, kZero, kZero, kZero}, &Controller::setTimeout},
};

Controller::Controller(bool firmwareRequired_, Electronics& electronics_, I2cBus& i2c_,
                       ParallelLink& link_, Journal journal_)
    : firmwareRequired(firmwareRequired_), electronics(electronics_), i2c(i2c_), link(link_),
      journal(std::move(journal_)), memory(kMemorySize) {}

void Controller::powerUp() {
    cpu = Cpu::bare;
    std::fill(memory.begin(), memory.end(), std::uint8_t{0});
    firmwareWritten = false;
    restart();
    link.powerUp();
}

void Controller::restart() {
    ports = {};
    electronics.presetLines(ports);
    pendingReplies.clear();
    lastTransaction.reset();
    repeats = 0;
    i2cTimeout = 0;
}

Outcome Controller::writeMemory(std::uint16_t address, std::span<const std::uint8_t> data) {
    if (data.empty() || address + data.size() > memory.size()) {
        journal("controller: a write of ", data.size(), " bytes at ", hex(address, 4),
                " is refused");
        return Outcome::stalled;
    }
    std::copy(data.begin(), data.end(), memory.begin() + address);
    const bool reachesCpu = address <= kCpuControl && kCpuControl < address + data.size();
    if (!reachesCpu || data.size() > 1) {
        firmwareWritten = true;
        journal("controller: ", data.size(), " bytes of firmware at ", hex(address, 4));
    }
    if (reachesCpu)
        controlCpu(memory[kCpuControl]);
    return Outcome::done;
}

Reply Controller::readMemory(std::uint16_t address, std::uint16_t length) const {
    if (address + std::size_t{length} > memory.size())
        return {Outcome::stalled, {}};
    const auto first = memory.begin() + address;
    return {Outcome::done, Bytes(first, first + length)};
}

void Controller::controlCpu(std::uint8_t value) {
    if ((value & 1) != 0) {
        journal("controller: CPU held in reset");
        restart();
        link.reset();
        cpu = Cpu::held;
    } else if (cpu == Cpu::held && firmwareRequired && !firmwareWritten) {
        journal("controller: no firmware: the processor does nothing");
        cpu = Cpu::bare;
    } else if (cpu == Cpu::held) {
        journal("controller: CPU released, firmware runs");
        cpu = Cpu::running;
    }
}

Outcome Controller::request(std::span<const std::uint8_t> bytes) {
    std::string problem;
    const auto parsed = parseFrame(bytes, problem);
    if (!parsed) {
        journal("controller: request refused, ", problem, ": ", hexDump(bytes));
        return Outcome::stalled;
    }
    const auto* handler = std::find_if(std::begin(kHandlers), std::end(kHandlers),
                                       [&](const Handler& h) { return h.code == parsed->code; });
    if (handler == std::end(kHandlers)) {
        journal("controller: unknown request ", unsigned{parsed->code}, " is refused");
        return Outcome::stalled;
    }
    if (!roomForReply(*parsed))
        return Outcome::nothing;
    if (!followTransactions(parsed->transaction))
        return Outcome::stalled;
    if (!pendingReplies.empty())
        journal("controller: ", pendingReplies.size(),
                " earlier replies that no one has read come first");
    Bytes data;
    const Verdict verdict = serve(*handler, *parsed, data);
    return answer(*parsed, verdict, data);
}

// The pipe's buffers are full once a host has left so many replies unread; a request that needs
// another one has to wait.
bool Controller::roomForReply(const FramedRequest& request) const {
    constexpr std::size_t kReplyBuffers = 4;
    const bool room = !request.wantsReply() || pendingReplies.size() < kReplyBuffers;
    if (!room)
        journal("controller: request ", unsigned{request.code},
                " has to wait, the reply pipe is full of replies that no one has read");
    return room;
}

// A host with several cameras may well share one count among them, so a gap is no error, and now
// and then the count comes round to the same number. It does not do so twice in a row.
bool Controller::followTransactions(std::uint8_t number) {
    const std::optional<std::uint8_t> last = std::exchange(lastTransaction, number);
    repeats = last == number ? repeats + 1 : 0;
    if (repeats > 1)
        journal("controller: request refused, transaction ", unsigned{number},
                " has come three times in a row");
    else if (last && number != lowByte(*last + 1U))
        journal("controller: transaction ", unsigned{number}, " follows ", unsigned{*last},
                repeats == 1 ? ", it has not been counted" : ", there is a gap");
    return repeats <= 1;
}

Controller::Verdict Controller::serve(const Handler& handler, const FramedRequest& request,
                                      Bytes& answer) {
    const std::string problem = violation(handler.form, request);
    return problem.empty() ? (this->*handler.serve)(request, answer)
                           : malformed(request, handler.name, problem);
}

Controller::Verdict Controller::malformed(const FramedRequest& request, const char* name,
                                          const std::string& problem) {
    journal("controller: malformed request ", unsigned{request.code}, " (", name, ") is refused, ",
            problem);
    return Verdict::malformed;
}

void Controller::portsChanged() {
    electronics.linesChanged(ports);
    link.enable(electronics.linkEnabled(ports));
}

Outcome Controller::answer(const FramedRequest& request, Verdict verdict, const Bytes& data) {
    if (verdict == Verdict::malformed || (verdict == Verdict::refused && !request.wantsReply()))
        return Outcome::stalled;
    if (!request.wantsReply())
        return Outcome::done;
    PendingReply reply{verdict == Verdict::refused, {}};
    if (!reply.refused) {
        reply.bytes.push_back(request.transaction);
        reply.bytes.insert(reply.bytes.end(), data.begin(), data.end());
        reply.bytes.insert(reply.bytes.end(), {request.code, 0x00, 0x00});
    }
    pendingReplies.push_back(std::move(reply));
    return Outcome::done;
}

Reply Controller::readReply(std::uint32_t limit) {
    if (pendingReplies.empty())
        return {};
    PendingReply& oldest = pendingReplies.front();
    Bytes& bytes = oldest.bytes;
    const auto end =
        bytes.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(limit, bytes.size()));
    Reply reply{oldest.refused ? Outcome::stalled : Outcome::done, Bytes(bytes.begin(), end)};
    bytes.erase(bytes.begin(), end);
    // A reply ends with a short packet, so that a read never goes on into the next one.
    if (bytes.empty())
        pendingReplies.pop_front();
    return reply;
}

Controller::Verdict Controller::setPortStates(const FramedRequest& request, Bytes&) {
    const auto trailer = request.payload.subspan(Ports::kPairBytes);
    if (std::any_of(trailer.begin(), trailer.end(), [](std::uint8_t byte) { return byte != 0; }))
        return malformed(request, "set port states",
                         "the six bytes after the pairs are " + hexDump(trailer) +
                             ", accepted is 0");
    ports.changeStates(request.payload.first(Ports::kPairBytes));
    portsChanged();
    journal("controller: port states are now ", hexDump(ports.outputStates()));
    return Verdict::accepted;
}

Controller::Verdict Controller::setPortDirections(const FramedRequest& request, Bytes&) {
    ports.changeDirections(request.payload);
    portsChanged();
    journal("controller: port directions are now ", hexDump(ports.outputDirections()));
    return Verdict::accepted;
}

Controller::Verdict Controller::getPortLevels(const FramedRequest&, Bytes& answer) {
    electronics.driveLines(ports);
    const Ports::Values levels = ports.levels();
    answer.assign(levels.begin(), levels.end());
    journal("controller: ports read as ", hexDump(answer));
    return Verdict::accepted;
}

// The first payload byte is what goes over the wire: the device's address and the direction bit.
Controller::Verdict Controller::transferI2c(const FramedRequest& request, Bytes& answer) {
    const std::uint8_t address = request.payload[0] >> 1;
    const bool reading = (request.payload[0] & 1) != 0;
    if (reading ? request.payload.size() != 1 : request.replyLength != 0)
        return malformed(request, "I2C transfer",
                         reading ? "a read sends more than its address" : "a write wants a reply");
    if (i2cTimeout == 0) {
        journal("I2C: transfer with ", hex(address), " refused, the time-out is 0");
        return Verdict::refused;
    }
    if (!reading) {
        const bool present = i2c.write(address, request.payload.subspan(1));
        journal("I2C: write to ", hex(address), ": ", hexDump(request.payload.subspan(1)),
                present ? "" : " - no device answers");
        return present ? Verdict::accepted : Verdict::refused;
    }
    auto bytes = i2c.read(address, request.replyLength);
    if (!bytes) {
        journal("I2C: read from ", hex(address), " - no device answers");
        return Verdict::refused;
    }
    answer = std::move(*bytes);
    journal("I2C: read from ", hex(address), ": ", hexDump(answer));
    return Verdict::accepted;
}

Controller::Verdict Controller::setI2cSpeed(const FramedRequest& request, Bytes&) {
    journal("controller: I2C speed ", unsigned{request.subCode});
    return Verdict::accepted;
}

Controller::Verdict Controller::transferSerial(const FramedRequest& request, Bytes& answer) {
    auto bytes = electronics.serialTransfer(request);
    if (!bytes) {
        journal("controller: serial transfer with path ", unsigned{request.subCode}, " is refused");
        return Verdict::refused;
    }
    answer = std::move(*bytes);
    return Verdict::accepted;
}

Controller::Verdict Controller::loadLinkTable(const FramedRequest& request, Bytes&) {
    const bool isLong = (request.payload[0] & kLongTableFlag) != 0;
    if (request.payload.size() != (isLong ? kLongTable : kShortTable))
        return malformed(request, "load parallel link table",
                         "the length is not the one its first byte tells");
    link.loadTable(request.payload);
    return Verdict::accepted;
}

Controller::Verdict Controller::readLink(const FramedRequest& request, Bytes&) {
    link.armRead(std::uint32_t{request.a} << 16 | request.b);
    return Verdict::accepted;
}

Controller::Verdict Controller::writeLink(const FramedRequest&, Bytes&) {
    return link.commit() ? Verdict::accepted : Verdict::refused;
}

Controller::Verdict Controller::setTimeout(const FramedRequest& request, Bytes&) {
    if (request.subCode == 0)
        link.setTimeout(request.a);
    else
        i2cTimeout = request.a;
    journal("controller: time-out of the ", request.subCode == 0 ? "parallel link" : "I2C bus",
            " is ", request.a);
    return Verdict::accepted;
}

} // namespace tavo::virtualcamera
