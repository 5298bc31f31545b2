// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen.h"

#include "../camera/link_tables.h"
#include "../controller/bytes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace tavo::virtualcamera {

namespace {

// Port 0: lines 3 and 4 come from the head, line 0 selects it when low, line 7 clocks its port.
constexpr std::uint8_t kLineDirections = 0xE7;
constexpr std::uint8_t kLineStates = 0x80;
constexpr std::uint8_t kDeselected = 0x01;

// How a serial transfer reaches the head.
constexpr std::uint8_t kSerialPath = 2;
constexpr std::uint16_t kSerialMode = 3;
constexpr std::uint16_t kSerialUnit = 1;

constexpr std::array<std::uint8_t, 3> kPacketStart{'C', 'M', 'D'};
constexpr std::size_t kPacketHeader = kPacketStart.size() + 1;

// Bits of the description's flags word.
constexpr unsigned kHasFifo = 0x0001;
constexpr unsigned kHasPreview = 0x0008;
constexpr unsigned kNoGuidePort = 0x0100;
constexpr unsigned kHasGpio = 0x0200;
constexpr unsigned kHas8BitMode = 0x0800;
constexpr unsigned kHasFilterWheel = 0x1000;
constexpr std::size_t kDescriptionBytes = 128;

constexpr Microseconds kStartTime = 35 * kMillisecond; // of the application
constexpr std::uint8_t kBusy = 'B';
constexpr std::uint8_t kRunning = 'I';

// A word a character, closed by a zero word.
void appendText(std::vector<std::uint8_t>& bytes, const std::string& text) {
    for (const char character : text)
        appendU16be(bytes, static_cast<unsigned char>(character));
    appendU16be(bytes, 0);
}

} // namespace

std::size_t LumenFirmware::Handler::packetBytes() const {
    return kPacketHeader + argumentBytes + answerBytes;
}

const LumenFirmware::Handler LumenFirmware::kHandlers[] = {
    {1, 0, kDescriptionBytes, Served::always, "describe yourself", &LumenFirmware::describe},
    {2, 2, 0, Served::afterStart, "exposure control", &LumenFirmware::exposureControl},
    {4, 0, 0, Served::whenIdle, "clear the sensor", &LumenFirmware::clearSensor},
    {5, 0, 0, Served::whenIdle, "start the exposure", &LumenFirmware::startExposure},
    {6, 16, 0, Served::whenIdle, "read out", &LumenFirmware::readOut},
    {20, 0, 0, Served::whenIdle, "close guide relay 1", &LumenFirmware::closeRight},
    {21, 0, 0, Served::whenIdle, "close guide relay 2", &LumenFirmware::closeLeft},
    {22, 0, 0, Served::whenIdle, "close guide relay 3", &LumenFirmware::closeUp},
    {23, 0, 0, Served::whenIdle, "close guide relay 4", &LumenFirmware::closeDown},
    {24, 0, 0, Served::whenIdle, "release the guide relays", &LumenFirmware::releaseRelays},
    {44, 0, 0, Served::always, "start the application", &LumenFirmware::initialise},
    {52, 0, 6, Served::whenIdle, "describe the cooler", &LumenFirmware::describeCooler},
    {53, 0, 8, Served::whenIdle, "cooling status", &LumenFirmware::coolingStatus},
    {54, 0, 2, Served::whenIdle, "count the temperature sensors", &LumenFirmware::countSensors},
    {55, 2, 6, Served::whenIdle, "read a temperature", &LumenFirmware::readSensor},
    {56, 2, 2, Served::whenIdle, "set cooling", &LumenFirmware::setCooling},
    {57, 0, 0, Served::whenIdle, "warm up", &LumenFirmware::warmUp},
    {62, 0, 6, Served::whenIdle, "tell the serial number", &LumenFirmware::tellSerialNumber},
    {80, 2, 2, Served::always, "application ping", &LumenFirmware::ping},
    {130, 0, 4, Served::whenIdle, "read the GPIO lines", &LumenFirmware::readGpio},
    {131, 2, 0, Served::whenIdle, "set GPIO directions", &LumenFirmware::setGpioDirections},
    {132, 2, 0, Served::whenIdle, "set GPIO states", &LumenFirmware::setGpioStates},
    {135, 0, 8, Served::whenIdle, "filter wheel status", &LumenFirmware::wheelStatus},
    {136, 2, 2, Served::whenIdle, "select a filter", &LumenFirmware::selectFilter},
    {140, GainStage::kWriteBytes, 0, Served::whenIdle, "write the gain settings",
     &LumenFirmware::writeGainStage},
    {141, 0, GainStage::kBlockBytes, Served::whenIdle, "read the gain settings",
     &LumenFirmware::readGainStage},
    {145, 0, 2, Served::always, "tell the register's clear time", &LumenFirmware::tellClearTime},
    {253, 2, 2, Served::always, "kernel ping", &LumenFirmware::kernelPing},
};

std::unique_ptr<Electronics> makeLumenElectronics(const CameraParts& parts) {
    return std::make_unique<LumenFirmware>(parts);
}

LumenFirmware::LumenFirmware(const CameraParts& parts)
    : model(parts.model), instrument(parts.instrument), clock(parts.clock), journal(parts.journal),
      sequence(instrument, parts.fifo), digitiser(parts), thermal(parts), accessories(parts),
      gpio(model.gpioLines) {}

LinkTables LumenFirmware::linkTables() const {
    static constexpr std::span<const std::uint8_t> tables[] = {kFlowStateTable, kSlowLinkTable};
    return tables;
}

bool LumenFirmware::linkEnabled(const Ports& ports) const {
    return ports.outputDirections()[0] == kLineDirections && ports.outputStates()[0] == kLineStates;
}

// A head that was selected from the start would take the first edges on the other lines for data.
void LumenFirmware::presetLines(Ports& ports) const {
    constexpr std::array<std::uint8_t, Ports::kPairBytes> kPairs{
        0x00, kDeselected, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00};
    ports.changeStates(kPairs);
}

void LumenFirmware::receive(std::span<const std::uint8_t> bytes) {
    journal("camera: nothing is expected over the parallel link, ignored: ", hexDump(bytes));
}

// The head stays as it is - cold, its application running - but no image survives.
void LumenFirmware::linkReset() {
    instrument.advance();
    sequence.reset();
    selected = false;
    statusPending = false;
    clearedAt = 0;
}

std::optional<std::vector<std::uint8_t>>
LumenFirmware::serialTransfer(const FramedRequest& request) {
    instrument.advance();
    if (request.subCode != kSerialPath || request.a != kSerialMode || request.b != kSerialUnit) {
        journal("serial port: path ", unsigned{request.subCode}, ", mode ", request.a, " and unit ",
                request.b, " reach nothing, accepted are 2, 3 and 1");
        return std::nullopt;
    }
    if (!selected) {
        journal("serial port: the lines are not set up for it, nothing answers");
        return std::nullopt;
    }
    if (request.payload.size() != request.replyLength) {
        journal("serial port: ", request.payload.size(), " bytes go out but ", request.replyLength,
                " come in, which cannot be");
        return std::nullopt;
    }
    const bool isPacket =
        request.payload.size() >= kPacketHeader &&
        std::equal(kPacketStart.begin(), kPacketStart.end(), request.payload.begin());
    return isPacket ? packet(request.payload) : poll(request.payload);
}

// What makes a packet none that the port could carry an answer in.
std::string LumenFirmware::formProblem(const Handler& handler,
                                       std::span<const std::uint8_t> bytes) const {
    if (bytes.size() != handler.packetBytes())
        return "it takes a packet of " + std::to_string(handler.packetBytes()) +
               " bytes but came with " + std::to_string(bytes.size());
    const auto room = bytes.subspan(bytes.size() - handler.answerBytes);
    if (std::any_of(room.begin(), room.end(), [](std::uint8_t byte) { return byte != 0; }))
        return "the room for its answer is not zero";
    return {};
}

bool LumenFirmware::servesNow(const Handler& handler) const {
    const char* problem = nullptr;
    if (handler.served != Served::always && !applicationRuns())
        problem = "the application has not been started";
    else if (handler.served == Served::whenIdle && clearing())
        problem = "the sensor is being cleared";
    if (problem != nullptr)
        journal("command ", unsigned{handler.command}, " ", handler.name, " is refused, ", problem);
    return problem == nullptr;
}

// The packet comes back as it went out, and the answer where it left room for it. What is refused
// comes back, too, since the port moves as many bytes in as out: the room stays zero.
std::optional<LumenFirmware::Answer> LumenFirmware::packet(std::span<const std::uint8_t> bytes) {
    const std::uint8_t command = bytes[kPacketStart.size()];
    const auto* handler =
        std::find_if(std::begin(kHandlers), std::end(kHandlers),
                     [command](const Handler& h) { return h.command == command; });
    if (handler == std::end(kHandlers)) {
        journal("command ", unsigned{command}, " is unknown and refused: ", hexDump(bytes));
        return std::nullopt;
    }
    if (const std::string problem = formProblem(*handler, bytes); !problem.empty()) {
        journal("command ", unsigned{command}, " ", handler->name, " is refused, ", problem, ": ",
                hexDump(bytes));
        return std::nullopt;
    }
    Answer answer;
    const auto arguments = bytes.subspan(kPacketHeader, handler->argumentBytes);
    if (!servesNow(*handler) || !(this->*handler->serve)(arguments, answer)) {
        journal("command ", unsigned{command}, " ", handler->name, ": sent back without an answer");
        answer.clear();
    }
    answer.resize(handler->answerBytes);
    answer.insert(answer.begin(), bytes.begin(),
                  bytes.end() - static_cast<std::ptrdiff_t>(handler->answerBytes));
    return answer;
}

// What is no packet only moves the port's shift register: it comes back as it is, unless the head
// has put the outcome of the application's start there.
LumenFirmware::Answer LumenFirmware::poll(std::span<const std::uint8_t> bytes) {
    Answer answer(bytes.begin(), bytes.end());
    if (!statusPending || bytes.size() != 1) {
        journal("serial port: no command packet, sent back: ", hexDump(bytes));
        return answer;
    }
    answer[0] = applicationRuns() ? kRunning : kBusy;
    statusPending = !applicationRuns();
    journal("application status: ", statusPending ? "still starting" : "it runs");
    return answer;
}

bool LumenFirmware::applicationRuns() const {
    return startedAt && clock.now() >= *startedAt;
}

bool LumenFirmware::kernelPing(Arguments arguments, Answer& answer) {
    answer.assign(arguments.begin(), arguments.end());
    journal("command 253 kernel ping: ", hexDump(arguments), ", answered with the same");
    return true;
}

// An application that is busy leaves the answer's room as it is.
bool LumenFirmware::ping(Arguments arguments, Answer& answer) {
    if (!model.answersPing || clearing()) {
        journal("command 80 application ping: ", hexDump(arguments),
                clearing() ? ", not answered, the sensor is being cleared" : ", never answered");
        return true;
    }
    answer = {arguments[0], lowByte(arguments[1] + 1U)};
    journal("command 80 application ping: ", hexDump(arguments), ", answered with ",
            hexDump(answer));
    return true;
}

unsigned LumenFirmware::descriptionFlags() const {
    return kHasFifo | kHasPreview | (model.hasGuidePort ? 0 : kNoGuidePort) |
           (model.gpioLines != 0 ? kHasGpio : 0) | (model.has8BitMode ? kHas8BitMode : 0) |
           (model.filterCount != 0 ? kHasFilterWheel : 0);
}

bool LumenFirmware::describe(Arguments, Answer& answer) {
    constexpr double kHundredths = 100.0;
    // Of what is told of a name, so that all fields fit in.
    constexpr std::size_t kNameLimit = 40;
    const auto hundredths = [](double micrometres) {
        return static_cast<unsigned>(std::lround(micrometres * kHundredths));
    };
    const unsigned flags = descriptionFlags();
    journal("command 1 describe yourself: version ", unsigned{model.versionMajor}, ".",
            unsigned{model.versionMinor}, ", \"", model.name, "\", flags ", hex(flags, 4), ", ",
            model.describedWidth, "x", model.describedHeight, " pixels of ",
            model.sensor.pixelWidth, "x", model.sensor.pixelHeight, " um, binning up to ",
            model.maxBin);
    appendU16be(answer, model.versionMinor);
    appendU16be(answer, model.versionMajor);
    appendText(answer, model.name.substr(0, kNameLimit));
    appendText(answer, "Tavo");
    for (const unsigned word :
         {flags, model.describedWidth, model.describedHeight, hundredths(model.sensor.pixelWidth),
          hundredths(model.sensor.pixelHeight), model.maxBin, model.maxBin, model.wellCapacity})
        appendU16be(answer, word);
    return true;
}

bool LumenFirmware::tellClearTime(Arguments, Answer& answer) {
    if (model.versionMajor < 2) {
        journal("command 145 tell the register's clear time: version ",
                unsigned{model.versionMajor}, " does not know it, refused");
        return false;
    }
    const auto milliseconds = static_cast<unsigned>(model.registerClearTime / kMillisecond);
    journal("command 145 tell the register's clear time: ", milliseconds, " ms");
    appendU16be(answer, milliseconds);
    return true;
}

bool LumenFirmware::initialise(Arguments, Answer&) {
    journal("command 44 start the application");
    startedAt = clock.now() + clock.reactionTime(kStartTime);
    statusPending = true;
    clearedAt = 0;
    sequence.reset();
    instrument.mount().releaseAll();
    instrument.wheel().home();
    gainStage.reset();
    gpio = GpioLines{model.gpioLines};
    return true;
}

bool LumenFirmware::tellSerialNumber(Arguments, Answer& answer) {
    journal("command 62 tell the serial number: ", model.serial);
    for (const unsigned word : {0U, model.serial >> 16, model.serial & 0xFFFFU})
        appendU16be(answer, word);
    return true;
}

} // namespace tavo::virtualcamera
