// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ridge.h"

#include "../controller/bytes.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr std::array<std::uint8_t, 152> kLinkTable{
    0x01, 0xee, 0xff, 0x80, 0x00, 0x00, 0xff, 0xe4, 0x11, 0x01, 0x02, 0x00, 0x04, 0x00, 0x00, 0x00,
    0x01, 0x0a, 0x01, 0x3b, 0x01, 0x01, 0x01, 0x07, 0x00, 0x01, 0x02, 0x01, 0x00, 0x00, 0x10, 0x00,
    0xfc, 0xfc, 0xfd, 0xfd, 0xfd, 0xfd, 0xfd, 0xff, 0x00, 0x00, 0x12, 0x00, 0x00, 0x2d, 0x12, 0x3f,
    0x01, 0x0a, 0x01, 0x3b, 0x01, 0x01, 0x01, 0x07, 0x02, 0x03, 0x02, 0x05, 0x00, 0x00, 0x00, 0x00,
    0xfe, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x09, 0x00, 0x00, 0x00, 0x00, 0x2d, 0x36, 0x3f,
    0x0e, 0x03, 0x01, 0x3f, 0x01, 0x01, 0x36, 0x07, 0x01, 0x00, 0x02, 0x01, 0x00, 0x00, 0x11, 0x00,
    0xff, 0xfe, 0xfe, 0xfe, 0xff, 0xff, 0xff, 0xff, 0x00, 0x09, 0x12, 0x12, 0x00, 0x2d, 0x12, 0x3f,
    0x08, 0x03, 0x01, 0x3f, 0x01, 0x01, 0x01, 0x07, 0x01, 0x02, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
    0xff, 0xfd, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x09, 0x09, 0x12, 0x12, 0x00, 0x2d, 0x36, 0x3f,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

// Bits of the description's flags word.
constexpr unsigned kHasFifo = 0x0001;
constexpr unsigned kHasPreview = 0x0008;
constexpr unsigned kHasShutter = 0x0080;
constexpr unsigned kNoGuidePort = 0x0100;
constexpr unsigned kHasFilterWheel = 0x1000;

constexpr Microseconds kInitialiseStep = 15 * kMillisecond;

} // namespace

LinkTables RidgeFirmware::linkTables() const {
    static constexpr std::span<const std::uint8_t> tables[] = {kLinkTable};
    return tables;
}

bool RidgeFirmware::linkEnabled(const Ports& ports) const {
    return ports.outputDirections()[0] == 0x9F && ports.outputStates()[0] == 0x80;
}

std::unique_ptr<Electronics> makeRidgeElectronics(const CameraParts& parts) {
    return std::make_unique<RidgeFirmware>(parts);
}

const CommandHandler<RidgeFirmware> RidgeFirmware::kHandlers[] = {
    {1, 0, false, "describe yourself", &RidgeFirmware::describe},
    {2, 2, true, "exposure control", &RidgeFirmware::exposureControl},
    {4, 0, true, "clear the sensor", &RidgeFirmware::clearSensor},
    {5, 0, true, "start the exposure", &RidgeFirmware::startExposure},
    {6, 16, true, "read out", &RidgeFirmware::readOut},
    {9, 2, true, "shutter", &RidgeFirmware::setShutter},
    {20, 0, true, "close guide relay 1", &RidgeFirmware::closeRight},
    {21, 0, true, "close guide relay 2", &RidgeFirmware::closeLeft},
    {22, 0, true, "close guide relay 3", &RidgeFirmware::closeUp},
    {23, 0, true, "close guide relay 4", &RidgeFirmware::closeDown},
    {24, 0, true, "release the guide relays", &RidgeFirmware::releaseRelays},
    {44, 0, false, "start the application", &RidgeFirmware::initialise},
    {52, 0, true, "describe the cooler", &RidgeFirmware::describeCooler},
    {53, 0, true, "cooling status", &RidgeFirmware::coolingStatus},
    {54, 0, true, "count the temperature sensors", &RidgeFirmware::countSensors},
    {55, 2, true, "read a temperature", &RidgeFirmware::readSensor},
    {56, 2, true, "set cooling", &RidgeFirmware::setCooling},
    {57, 0, true, "warm up", &RidgeFirmware::warmUp},
    {80, 2, false, "ping", &RidgeFirmware::ping},
    {135, 0, true, "filter wheel status", &RidgeFirmware::wheelStatus},
    {136, 2, true, "select a filter", &RidgeFirmware::selectFilter},
};

RidgeFirmware::RidgeFirmware(const CameraParts& parts)
    : model(parts.model), instrument(parts.instrument), clock(parts.clock), fifo(parts.fifo),
      journal(parts.journal), sequence(instrument, fifo), digitiser(parts), thermal(parts),
      accessories(parts) {}

// The head stays as it is - cold, its application running - but no image survives.
void RidgeFirmware::linkReset() {
    instrument.advance();
    sequence.reset();
}

void RidgeFirmware::receive(std::span<const std::uint8_t> bytes) {
    constexpr std::array<std::uint8_t, 6> kStart{'C', 0, 'M', 0, 'D', 0};
    constexpr std::size_t kHeader = kStart.size() + 2;
    instrument.advance();
    if (bytes.size() < kHeader || bytes.size() % 2 != 0 || bytes[kHeader - 1] != 0 ||
        !std::equal(kStart.begin(), kStart.end(), bytes.begin())) {
        journal("camera: no command packet, ignored: ", hexDump(bytes));
        return;
    }
    const Arguments arguments = bytes.subspan(kHeader);
    if (const auto* handler = findHandler<RidgeFirmware>(kHandlers, bytes[kHeader - 2], arguments,
                                                         applicationStarted, journal))
        (this->*handler->serve)(arguments);
}

void RidgeFirmware::reply(std::initializer_list<unsigned> words, Microseconds delay) {
    std::vector<std::uint8_t> bytes;
    for (const unsigned word : words)
        appendU16le(bytes, word);
    answer(std::move(bytes), clock.now() + clock.reactionTime(delay));
}

// A word a character, closed by a zero word.
void RidgeFirmware::replyText(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    for (const char character : text)
        appendU16le(bytes, static_cast<unsigned char>(character));
    appendU16le(bytes, 0);
    answer(std::move(bytes), clock.now());
}

void RidgeFirmware::answer(std::vector<std::uint8_t> bytes, Microseconds readyAt) {
    const std::size_t size = bytes.size();
    if (!fifo.put(std::move(bytes), readyAt))
        journal("camera: the FIFO is full of answers that no one has read, ", size,
                " bytes are lost");
}

void RidgeFirmware::acknowledge(bool done) {
    reply({done ? 1U : 0U});
}

void RidgeFirmware::ping(Arguments arguments) {
    if (!model.answersPing) {
        journal("command 80 ping: ", unsigned{arguments[0]}, ", never answered");
        return;
    }
    const unsigned answer = (arguments[0] + 1U) & 0xFF;
    journal("command 80 ping: ", unsigned{arguments[0]}, ", answered with ", answer);
    reply({answer});
}

unsigned RidgeFirmware::descriptionFlags() const {
    return kHasFifo | kHasPreview | (model.hasShutter ? kHasShutter : 0) |
           (model.hasGuidePort ? 0 : kNoGuidePort) | (model.filterCount != 0 ? kHasFilterWheel : 0);
}

void RidgeFirmware::describe(Arguments) {
    constexpr double kHundredths = 100.0;
    // The host's text fields take no more; a longer name would push the fields after it aside.
    constexpr std::size_t kNameLimit = 28;
    const auto hundredths = [](double micrometres) {
        return static_cast<unsigned>(std::lround(micrometres * kHundredths));
    };
    const unsigned flags = descriptionFlags();
    journal("command 1 describe yourself: version ", unsigned{model.versionMajor}, ".",
            unsigned{model.versionMinor}, ", \"", model.name, "\", flags ", hex(flags, 4), ", ",
            model.describedWidth, "x", model.describedHeight, " pixels of ",
            model.sensor.pixelWidth, "x", model.sensor.pixelHeight, " um, binning up to ",
            model.maxBin);
    reply({model.versionMinor, model.versionMajor});
    replyText(model.name.substr(0, kNameLimit));
    replyText("Tavo");
    reply({flags, model.describedWidth, model.describedHeight, hundredths(model.sensor.pixelWidth),
           hundredths(model.sensor.pixelHeight), model.maxBin, model.maxBin, model.wellCapacity});
}

// The status comes as a word at a time: busy, busy, and then that it is done. Nothing follows, so
// a host that stops reading there leaves the FIFO empty.
void RidgeFirmware::initialise(Arguments) {
    journal("command 44 start the application");
    applicationStarted = true;
    sequence.reset();
    if (instrument.hasShutter())
        instrument.setShutter(false);
    instrument.mount().releaseAll();
    instrument.wheel().home();
    reply({'B'});
    reply({'B'}, kInitialiseStep);
    reply({'I'}, 2 * kInitialiseStep);
}

} // namespace tavo::virtualcamera
