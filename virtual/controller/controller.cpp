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
constexpr std::size_t kPortStateBytes = 16;
constexpr std::uint8_t kLongTableFlag = 0x80;
constexpr std::size_t kLongTable = 172;
constexpr std::size_t kShortTable = 152;

} // namespace

const Controller::Handler Controller::kHandlers[] = {
    {1, "set port states", &Controller::setPortStates},
    {2, "set port directions", &Controller::setPortDirections},
    {3, "read ports", &Controller::getPortLevels},
    {4, "I2C transfer", &Controller::transferI2c},
    {5, "set I2C speed", &Controller::setI2cSpeed},
    {8, "load parallel link table", &Controller::loadLinkTable},
    {9, "parallel link read", &Controller::readLink},
    {10, "parallel link write", &Controller::writeLink},
    {12, "set time-out", &Controller::setTimeout},
};

Controller::Controller(I2cBus& i2c_, ParallelLink& link_, Journal journal_)
    : i2c(i2c_), link(link_), journal(std::move(journal_)), memory(kMemorySize) {}

void Controller::powerUp() {
    cpu = Cpu::bare;
    std::fill(memory.begin(), memory.end(), std::uint8_t{0});
    ports = {};
    pendingReply.clear();
    replyRefused = false;
    link.reset();
}

Outcome Controller::writeMemory(std::uint16_t address, std::span<const std::uint8_t> data) {
    if (data.empty() || address + data.size() > memory.size()) {
        journal("controller: a write of ", data.size(), " bytes at ", hex(address, 4),
                " is refused");
        return Outcome::stalled;
    }
    std::copy(data.begin(), data.end(), memory.begin() + address);
    if (address <= kCpuControl && kCpuControl < address + data.size())
        controlCpu(memory[kCpuControl]);
    else
        journal("controller: ", data.size(), " bytes of firmware at ", hex(address, 4));
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
        ports = {};
        pendingReply.clear();
        replyRefused = false;
        link.reset();
        cpu = Cpu::held;
    } else if (cpu == Cpu::held) {
        journal("controller: CPU released, firmware runs");
        cpu = Cpu::running;
    }
}

Outcome Controller::request(std::span<const std::uint8_t> bytes) {
    if (!pendingReply.empty() || replyRefused)
        journal("controller: a reply that no one has read is dropped");
    pendingReply.clear();
    replyRefused = false;

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
    Bytes data;
    const Verdict verdict = (this->*handler->serve)(*parsed, data);
    if (verdict == Verdict::malformed)
        journal("controller: malformed request ", unsigned{parsed->code}, " (", handler->name,
                ") is refused: ", hexDump(bytes));
    return answer(*parsed, verdict, data);
}

Outcome Controller::answer(const FramedRequest& request, Verdict verdict, const Bytes& data) {
    if (verdict == Verdict::malformed || (verdict == Verdict::refused && !request.wantsReply()))
        return Outcome::stalled;
    replyRefused = verdict == Verdict::refused;
    if (verdict == Verdict::accepted && request.wantsReply()) {
        pendingReply.push_back(request.transaction);
        pendingReply.insert(pendingReply.end(), data.begin(), data.end());
        pendingReply.insert(pendingReply.end(), {request.code, 0x00, 0x00});
    }
    return Outcome::done;
}

Reply Controller::readReply(std::uint32_t limit) {
    if (std::exchange(replyRefused, false))
        return {Outcome::stalled, {}};
    if (pendingReply.empty())
        return {};
    const auto end = pendingReply.begin() +
                     static_cast<std::ptrdiff_t>(std::min<std::size_t>(limit, pendingReply.size()));
    Reply reply{Outcome::done, Bytes(pendingReply.begin(), end)};
    pendingReply.erase(pendingReply.begin(), end);
    return reply;
}

Controller::Verdict Controller::setPortStates(const FramedRequest& request, Bytes&) {
    if (request.payload.size() != kPortStateBytes || request.replyLength != 0)
        return Verdict::malformed;
    ports.changeStates(request.payload.first(Ports::kPairBytes));
    journal("controller: port states are now ", hexDump(ports.outputStates()));
    return Verdict::accepted;
}

Controller::Verdict Controller::setPortDirections(const FramedRequest& request, Bytes&) {
    if (request.payload.size() != Ports::kPairBytes || request.replyLength != 0)
        return Verdict::malformed;
    ports.changeDirections(request.payload);
    journal("controller: port directions are now ", hexDump(ports.outputDirections()));
    return Verdict::accepted;
}

Controller::Verdict Controller::getPortLevels(const FramedRequest& request, Bytes& answer) {
    if (!request.payload.empty() || request.replyLength != Ports::kCount)
        return Verdict::malformed;
    const Ports::Values levels = ports.levels();
    answer.assign(levels.begin(), levels.end());
    journal("controller: ports read as ", hexDump(answer));
    return Verdict::accepted;
}

// The first payload byte is what goes over the wire: the device's address and the direction bit.
Controller::Verdict Controller::transferI2c(const FramedRequest& request, Bytes& answer) {
    if (request.payload.empty())
        return Verdict::malformed;
    const std::uint8_t address = request.payload[0] >> 1;
    const bool reading = (request.payload[0] & 1) != 0;
    if (reading ? request.payload.size() != 1 : request.replyLength != 0)
        return Verdict::malformed;
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
    if (!request.payload.empty() || request.replyLength != 0)
        return Verdict::malformed;
    journal("controller: I2C speed ", unsigned{request.subCode});
    return Verdict::accepted;
}

Controller::Verdict Controller::loadLinkTable(const FramedRequest& request, Bytes&) {
    if (request.payload.empty() || request.replyLength != 0)
        return Verdict::malformed;
    const bool isLong = (request.payload[0] & kLongTableFlag) != 0;
    if (request.payload.size() != (isLong ? kLongTable : kShortTable))
        return Verdict::malformed;
    link.loadTable(request.payload);
    return Verdict::accepted;
}

Controller::Verdict Controller::readLink(const FramedRequest& request, Bytes&) {
    if (!request.payload.empty() || request.wantsReply())
        return Verdict::malformed;
    link.armRead(std::uint32_t{request.a} << 16 | request.b);
    return Verdict::accepted;
}

Controller::Verdict Controller::writeLink(const FramedRequest& request, Bytes&) {
    if (!request.payload.empty() || request.replyLength != 0)
        return Verdict::malformed;
    return link.commit() ? Verdict::accepted : Verdict::refused;
}

Controller::Verdict Controller::setTimeout(const FramedRequest& request, Bytes&) {
    if (!request.payload.empty() || request.replyLength != 0 || request.subCode > 1)
        return Verdict::malformed;
    if (request.subCode == 0)
        link.setTimeout(request.a);
    journal("controller: time-out of the ", request.subCode == 0 ? "parallel link" : "I2C bus",
            " is ", request.a);
    return Verdict::accepted;
}

} // namespace tavo::virtualcamera
