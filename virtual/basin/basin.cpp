// SPDX-License-Identifier: LGPL-2.1-or-later
#include "basin.h"

#include "../camera/link_tables.h"
#include "../controller/bytes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr std::array<std::uint8_t, 152> kHandshakeTable{
    0x01, 0xe2, 0xff, 0x20, 0x00, 0x00, 0xfb, 0xe4, 0x11, 0x01, 0x02, 0x00, 0x04, 0x00, 0x00, 0x00,
    0x0e, 0x01, 0x01, 0x3f, 0x01, 0x01, 0x00, 0x07, 0x01, 0x00, 0x00, 0x03, 0x00, 0x00, 0x01, 0x00,
    0xfb, 0xf9, 0xfb, 0xfb, 0xfb, 0xfb, 0xfb, 0xfb, 0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x80, 0x3f,
    0x08, 0x01, 0x01, 0x3f, 0x01, 0x01, 0x01, 0x07, 0x03, 0x02, 0x02, 0x05, 0x00, 0x00, 0x00, 0x00,
    0xff, 0xfd, 0xfd, 0xff, 0xff, 0xff, 0xff, 0xfb, 0x09, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x3f,
    0x0e, 0x01, 0x01, 0x3f, 0x01, 0x01, 0x00, 0x07, 0x01, 0x00, 0x00, 0x03, 0x00, 0x00, 0x01, 0x00,
    0xfb, 0xf9, 0xfb, 0xfb, 0xfb, 0xfb, 0xfb, 0xfb, 0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x80, 0x3f,
    0x08, 0x01, 0x01, 0x3f, 0x01, 0x01, 0x01, 0x07, 0x03, 0x02, 0x02, 0x05, 0x00, 0x00, 0x00, 0x00,
    0xff, 0xfd, 0xfd, 0xff, 0xff, 0xff, 0xff, 0xfb, 0x09, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x3f,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

// Bits of the description's flags word.
constexpr unsigned kHasFifo = 0x0001;
constexpr unsigned kHasPreview = 0x0008;
constexpr unsigned kNoGuidePort = 0x0100;

// What the unused half of the FIFO happens to hold.
constexpr std::uint8_t kFiller = 0xA5;

constexpr Microseconds kInitialiseStep = 15 * kMillisecond;

} // namespace

LinkTables BasinFirmware::linkTables() const {
    static constexpr std::span<const std::uint8_t> tables[] = {kFlowStateTable, kHandshakeTable};
    return tables;
}

bool BasinFirmware::linkEnabled(const Ports& ports) const {
    return ports.outputDirections()[0] == 0x9F && ports.outputStates()[0] == 0x80;
}

std::unique_ptr<Electronics> makeBasinElectronics(const CameraParts& parts) {
    return std::make_unique<BasinFirmware>(parts);
}

const CommandHandler<BasinFirmware> BasinFirmware::kHandlers[] = {
    {2, 2, true, "exposure control", &BasinFirmware::exposureControl},
    {4, 0, true, "clear the sensor", &BasinFirmware::clearSensor},
    {5, 0, true, "start the exposure", &BasinFirmware::startExposure},
    {6, 13, true, "read out", &BasinFirmware::readOut},
    {10, 0, false, "describe yourself", &BasinFirmware::describe},
    {17, 1, false, "ping", &BasinFirmware::ping},
    {44, 0, false, "start the application", &BasinFirmware::initialise},
    {52, 0, true, "describe the cooler", &BasinFirmware::describeCooler},
    {53, 0, true, "cooling status", &BasinFirmware::coolingStatus},
    {54, 0, true, "count the temperature sensors", &BasinFirmware::countSensors},
    {55, 2, true, "read a temperature", &BasinFirmware::readSensor},
    {56, 2, true, "set cooling", &BasinFirmware::setCooling},
    {57, 0, true, "warm up", &BasinFirmware::warmUp},
    {66, 0, true, "sweep the registers", &BasinFirmware::sweepRegisters},
};

BasinFirmware::BasinFirmware(const CameraParts& parts)
    : model(parts.model), instrument(parts.instrument), clock(parts.clock), fifo(parts.fifo),
      journal(parts.journal), sequence(instrument, fifo), digitiser(parts), thermal(parts) {}

// The head stays as it is - cold, its application running - but no image survives.
void BasinFirmware::linkReset() {
    instrument.advance();
    sequence.reset();
}

void BasinFirmware::receive(std::span<const std::uint8_t> bytes) {
    journal("camera: ", bytes.size(),
            " bytes over the parallel link are ignored, commands come "
            "over the I2C bus: ",
            hexDump(bytes));
}

void BasinFirmware::write(std::span<const std::uint8_t> bytes) {
    constexpr std::array<std::uint8_t, 3> kStart{'V', 'R', 'Q'};
    constexpr std::size_t kHeader = kStart.size() + 1;
    instrument.advance();
    if (bytes.size() < kHeader || !std::equal(kStart.begin(), kStart.end(), bytes.begin())) {
        journal("camera: no command packet, ignored: ", hexDump(bytes));
        return;
    }
    const Arguments arguments = bytes.subspan(kHeader);
    if (const auto* handler = findHandler<BasinFirmware>(kHandlers, bytes[kHeader - 1], arguments,
                                                         applicationStarted, journal))
        (this->*handler->serve)(arguments);
}

std::optional<std::vector<std::uint8_t>> BasinFirmware::read(std::uint32_t) {
    journal("camera: answers are not read over the I2C bus but over the parallel link");
    return std::nullopt;
}

void BasinFirmware::reply(std::initializer_list<unsigned> bytes, Microseconds delay) {
    std::vector<std::uint8_t> plain;
    for (const unsigned byte : bytes)
        plain.push_back(lowByte(byte));
    answer(plain, clock.now() + clock.reactionTime(delay));
}

// Low byte first.
void BasinFirmware::replyWords(std::initializer_list<unsigned> words) {
    std::vector<std::uint8_t> bytes;
    for (const unsigned word : words)
        appendU16le(bytes, word);
    answer(bytes, clock.now());
}

void BasinFirmware::replyText(const std::string& text) {
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    answer(bytes, clock.now());
}

void BasinFirmware::answer(const std::vector<std::uint8_t>& bytes, Microseconds readyAt) {
    std::vector<std::uint8_t> filled;
    for (const std::uint8_t byte : bytes)
        filled.insert(filled.end(), {byte, kFiller});
    if (!fifo.put(std::move(filled), readyAt))
        journal("camera: the FIFO is full of answers that no one has read, ", bytes.size(),
                " bytes are lost");
}

void BasinFirmware::ping(Arguments arguments) {
    const unsigned value = arguments[0];
    journal("command 17 ping: ", value,
            model.answersPing ? ", answered alike" : ", never answered");
    if (model.answersPing)
        reply({value});
}

void BasinFirmware::describe(Arguments) {
    constexpr unsigned kFlags = kHasFifo | kHasPreview | kNoGuidePort;
    constexpr double kHundredths = 100.0;
    // The host's text fields take no more; a longer name would push the fields after it aside.
    constexpr std::size_t kNameLimit = 28;
    const auto hundredths = [](double micrometres) {
        return static_cast<unsigned>(std::lround(micrometres * kHundredths));
    };
    journal("command 10 describe yourself: version ", unsigned{model.versionMajor}, ".",
            unsigned{model.versionMinor}, ", \"", model.name, "\", flags ", hex(kFlags, 4), ", ",
            model.describedWidth, "x", model.describedHeight, " pixels of ",
            model.sensor.pixelWidth, "x", model.sensor.pixelHeight, " um, binning up to ",
            model.maxBin);
    reply({model.versionMinor, model.versionMajor});
    replyText(model.name.substr(0, kNameLimit));
    replyText(model.name.substr(0, model.name.find(' ')));
    replyWords({kFlags, model.describedWidth, model.describedHeight,
                hundredths(model.sensor.pixelWidth), hundredths(model.sensor.pixelHeight),
                model.maxBin, model.maxBin, model.wellCapacity});
}

// The status comes a byte at a time: busy, busy, and then that it is done. Nothing follows, so a
// host that stops reading there leaves the FIFO empty.
void BasinFirmware::initialise(Arguments) {
    journal("command 44 start the application");
    applicationStarted = true;
    sequence.reset();
    reply({'B'});
    reply({'B'}, kInitialiseStep);
    reply({'I'}, 2 * kInitialiseStep);
}

} // namespace tavo::virtualcamera
