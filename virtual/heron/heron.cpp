// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron.h"

#include "../camera/link_tables.h"
#include "../controller/bytes.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tavo::virtualcamera {

namespace {

// Lines of port 0.
constexpr std::uint8_t kReset = 0x02;
constexpr std::uint8_t kFrontEndRelease = 0x04; // low: it listens to clock and data
constexpr std::uint8_t kData = 0x20;
constexpr std::uint8_t kClock = 0x40;
constexpr std::uint8_t kRegisterRelease = 0x80; // high, or the registers hear the front end's words
constexpr std::size_t kBusyLine = 4;

// Resistors hold these up as long as no one drives them, the others down.
constexpr std::uint8_t kPulledUp = kFrontEndRelease | kClock | kRegisterRelease;

// Lines 3 and 4 are the camera's.
constexpr std::uint8_t kWorkingDirections = 0xE7;
// Where data, clock and release must be when the reset ends: with the clock up the registers take
// up the phase that the controller's serial path has.
constexpr std::uint8_t kStrapMask = kData | kClock | kRegisterRelease;
constexpr std::uint8_t kStraps = kClock | kRegisterRelease;

// The FIFO is already readable when the host has only made its ports safe, so that it can drain it.
constexpr std::uint8_t kDrainDirections = 0x9F;
constexpr std::uint8_t kDrainStates = 0x80;

// Yields what a converter has that is not at work.
class UpsetConverter final : public ByteSource {
public:
    explicit UpsetConverter(std::uint64_t size_) : bytes(size_) {}

    std::uint64_t size() const override { return bytes; }
    void read(std::span<std::uint8_t> target) override {
        std::fill(target.begin(), target.end(), std::uint8_t{0xFF});
    }

private:
    std::uint64_t bytes;
};

std::uint8_t pinLevels(const Ports& ports) {
    const unsigned driven = ports.outputDirections()[0];
    return lowByte((ports.outputStates()[0] & driven) | (kPulledUp & ~driven));
}

} // namespace

LinkTables HeronHead::linkTables() const {
    static constexpr std::span<const std::uint8_t> tables[] = {kFlowStateTable, kSlowLinkTable};
    return tables;
}

std::unique_ptr<Electronics> makeHeronElectronics(const CameraParts& parts) {
    return std::make_unique<HeronHead>(parts);
}

HeronHead::HeronHead(const CameraParts& parts)
    : model(parts.model), instrument(parts.instrument), clock(parts.clock), fifo(parts.fifo),
      journal(parts.journal), sequence(instrument, fifo), frontEnd(journal), pins(kPulledUp) {}

bool HeronHead::linkEnabled(const Ports& ports) const {
    const std::uint8_t driven = ports.outputDirections()[0];
    if (driven == kDrainDirections)
        return ports.outputStates()[0] == kDrainStates;
    constexpr std::uint8_t kMatters = kReset | kRegisterRelease;
    return driven == kWorkingDirections && (pinLevels(ports) & kMatters) == kRegisterRelease;
}

void HeronHead::receive(std::span<const std::uint8_t> bytes) {
    journal("camera: takes nothing from the parallel link, ignored: ", hexDump(bytes));
}

// Before the first word is there the strobes upset the converter, and with it the whole frame. The
// busy line tells hosts when it is over.
void HeronHead::readArmed() {
    if (clock.now() >= firstWordAt)
        return;
    journal("camera: read while line 4 says that it is busy, the frame is spoilt");
    sendFrom(std::make_unique<UpsetConverter>(frameBytes));
}

// The pins float until the host drives them again, and the registers wait for the next reset.
// Relays and front end stay as they are.
void HeronHead::linkReset() {
    instrument.advance();
    sequence.reset();
    directions = 0;
    pins = kPulledUp;
    started = false;
    firstWordAt = 0;
}

void HeronHead::linesChanged(const Ports& ports) {
    instrument.advance();
    const std::uint8_t before = std::exchange(pins, pinLevels(ports));
    directions = ports.outputDirections()[0];
    if ((pins & kReset) != 0 && (before & kReset) == 0)
        holdInReset();
    else if ((pins & kReset) == 0 && (before & kReset) != 0)
        leaveReset(ports);
    frontEnd.follow({.selected = (pins & kFrontEndRelease) == 0,
                     .clock = (pins & kClock) != 0,
                     .data = (pins & kData) != 0});
}

void HeronHead::holdInReset() {
    journal("camera: reset by line 1: registers, front end and relays are at rest");
    started = false;
    sequence.reset();
    frontEnd.reset();
    instrument.mount().releaseAll();
    control = 0;
    shifted = 0;
    binning.reset();
    nextBinning.reset();
    firstWordAt = 0;
}

void HeronHead::leaveReset(const Ports& ports) {
    started = directions == kWorkingDirections && (pins & kStrapMask) == kStraps;
    if (started)
        journal("camera: out of reset, the registers listen");
    else
        journal("camera: out of reset, but the registers stay deaf: port 0 has directions ",
                hex(directions), " and states ", hex(ports.outputStates()[0]),
                ", accepted are directions 0xe7, lines 6 and 7 high and line 5 low");
}

void HeronHead::driveLines(Ports& ports) {
    ports.hold(kBusyLine, clock.now() < firstWordAt);
}

// Why a word on the serial path does not arrive; null when it does.
const char* HeronHead::deafness() const {
    if (!started)
        return "the camera has not come out of reset as it should";
    if (directions != kWorkingDirections)
        return "the directions of port 0 are not 0xe7";
    if ((pins & kRegisterRelease) == 0)
        return "line 7 is low";
    if ((pins & kFrontEndRelease) == 0)
        return "line 2 is low, so that the front end is in the way";
    return nullptr;
}

const HeronHead::Register HeronHead::kRegisters[] = {
    {2, "control", &HeronHead::writeControl},
    {5, "timer", &HeronHead::writeTimer},
    {8, "binning", &HeronHead::writeBinning},
};

// A register's number lies in the top four bits of the word and its new content in the other
// twelve; the high byte travels first. What comes back is the word before.
std::optional<std::vector<std::uint8_t>> HeronHead::serialTransfer(const FramedRequest& request) {
    constexpr unsigned kNumberShift = 12;
    constexpr unsigned kValueMask = 0x0FFF;
    instrument.advance();
    if (request.subCode != 1 || request.a != 0 || request.b != 1 || request.payload.size() != 2 ||
        request.replyLength != 2) {
        journal("registers: a transfer takes path 1, parameters 0 and 1, and 2 bytes each way, not "
                "path ",
                unsigned{request.subCode}, ", parameters ", request.a, " and ", request.b, ", ",
                request.payload.size(), " bytes out and ", request.replyLength, " in");
        return std::nullopt;
    }
    if (const char* reason = deafness()) {
        journal("registers: ", hexDump(request.payload), " is not heard, ", reason);
        return std::vector<std::uint8_t>{0xFF, 0xFF};
    }
    const std::uint16_t word = u16be(request.payload, 0);
    const std::uint16_t before = std::exchange(shifted, word);
    const unsigned number = unsigned{word} >> kNumberShift;
    const auto* found =
        std::find_if(std::begin(kRegisters), std::end(kRegisters),
                     [number](const Register& candidate) { return candidate.number == number; });
    if (found == std::end(kRegisters))
        journal("registers: there is no register ", number, ", ", hexDump(request.payload),
                " is ignored");
    else
        (this->*found->write)(word & kValueMask);
    return std::vector<std::uint8_t>{highByte(before), lowByte(before)};
}

} // namespace tavo::virtualcamera
