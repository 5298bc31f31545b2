// SPDX-License-Identifier: LGPL-2.1-or-later
#include "registers.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>

namespace tavo::virtualcamera {

namespace {

constexpr std::uint32_t kTopBit = 0x80000000;
constexpr std::uint16_t kInitialise = 0x0000;
constexpr Microseconds kRestartTime = 100;
constexpr unsigned kRevision = 37;
// The upper bits of both say that the camera has such a register.
constexpr std::uint32_t kTemperaturePresent = 0xF0000000;
constexpr std::uint32_t kUpTimePresent = 0x10000000;

} // namespace

const Registers::Register Registers::kRegisters[] = {
    {kInitialise, "initialise", nullptr, &Registers::initialise, {}},
    {0x0604, "mode", &Registers::readMode, &Registers::writeMode, {}},
    {0x0608, "format", &Registers::readFormat, &Registers::writeFormat, {}},
    {0x061C, "one-shot trigger", &Registers::readTrigger, &Registers::trigger, {}},
    {0x0628, "error", &Registers::readError, nullptr, {}},
    {0x0800, "brightness control", &Registers::readControl, &Registers::writeControl,
     Feature::brightness},
    {0x0804, "automatic exposure control", &Registers::readControl, &Registers::writeControl,
     Feature::autoExposure},
    {0x0818, "gamma control", &Registers::readControl, &Registers::writeControl, Feature::gamma},
    {0x081C, "shutter control", &Registers::readControl, &Registers::writeControl,
     Feature::shutter},
    {0x0820, "gain control", &Registers::readControl, &Registers::writeControl, Feature::gain},
    {0x082C, "temperature", &Registers::readTemperature, nullptr, {}},
    {0x083C, "frame rate control", &Registers::readControl, &Registers::writeControl,
     Feature::frameRate},
    {0x0918, "shutter", &Registers::readValue, &Registers::writeValue, Feature::shutter},
    {0x0928, "gain", &Registers::readValue, &Registers::writeValue, Feature::gain},
    {0x0938, "brightness", &Registers::readValue, &Registers::writeValue, Feature::brightness},
    {0x0948, "gamma", &Registers::readValue, &Registers::writeValue, Feature::gamma},
    {0x0968, "frame rate", &Registers::readValue, &Registers::writeValue, Feature::frameRate},
    {0x12E0, "up time", &Registers::readUpTime, nullptr, {}},
    {0x1F20, "serial number", &Registers::readSerial, nullptr, {}},
    {0x1F24, "board", &Registers::readBoard, nullptr, {}},
    {0x1F60, "version", &Registers::readVersion, nullptr, {}},
};

Registers::Registers(const Model& model_, Instrument& instrument_, const Clock& clock_, Fifo& fifo,
                     const Journal& journal_)
    : model(model_), instrument(instrument_), clock(clock_), journal(journal_),
      imager(model_, instrument_, clock_, fifo, journal_), poweredAt(clock_.now()) {}

void Registers::powerUp() {
    features.reset();
    imager.reset();
    initialised = false;
    poweredAt = clock.now();
    restartedAt = poweredAt;
}

const Registers::Register* Registers::find(std::uint16_t offset) {
    const auto* found = std::find_if(std::begin(kRegisters), std::end(kRegisters),
                                     [&](const Register& each) { return each.offset == offset; });
    return found == std::end(kRegisters) ? nullptr : found;
}

std::optional<std::uint32_t> Registers::read(std::uint16_t offset) {
    const Register* found = find(offset);
    if (found == nullptr || found->read == nullptr || restarting()) {
        journal("read register ", hex(offset, 4), ": refused, ",
                found == nullptr         ? "there is none"
                : found->read == nullptr ? "it is write-only"
                                         : "the camera is still starting");
        return std::nullopt;
    }
    instrument.advance();
    return (this->*found->read)(*found);
}

bool Registers::write(std::uint16_t offset, std::uint32_t value) {
    const Register* found = find(offset);
    if (found == nullptr || found->write == nullptr || restarting()) {
        journal("write ", hex(value, 8), " to register ", hex(offset, 4), ": refused, ",
                found == nullptr          ? "there is none"
                : found->write == nullptr ? "it is read-only"
                                          : "the camera is still starting");
        return false;
    }
    instrument.advance();
    if (!initialised && offset != kInitialise)
        journal("write ", hex(value, 8), " to ", found->name,
                ": the camera has not been initialised, ignored");
    else
        (this->*found->write)(*found, value);
    return true;
}

void Registers::initialise(const Register&, std::uint32_t value) {
    if (value != kTopBit) {
        journal("write initialise: ", hex(value, 8), " means nothing, ignored");
        return;
    }
    journal("write initialise: all registers as at power-up");
    features.reset();
    imager.reset();
    initialised = true;
    restartedAt = clock.now() + clock.reactionTime(kRestartTime);
}

std::uint32_t Registers::readMode(const Register&) {
    journal("read mode: ", hex(imager.mode(), 8));
    return imager.mode();
}

void Registers::writeMode(const Register&, std::uint32_t value) {
    journal("write mode: ", hex(value, 8));
    imager.selectMode(value);
}

std::uint32_t Registers::readFormat(const Register&) {
    journal("read format: ", hex(imager.format(), 8));
    return imager.format();
}

void Registers::writeFormat(const Register&, std::uint32_t value) {
    journal("write format: ", hex(value, 8));
    imager.selectFormat(value);
}

std::uint32_t Registers::readTrigger(const Register&) {
    journal("read one-shot trigger: ", imager.busy() ? "at work on a frame" : "idle");
    return imager.busy() ? kTopBit : 0;
}

void Registers::trigger(const Register&, std::uint32_t value) {
    if (value != kTopBit) {
        journal("write one-shot trigger: ", hex(value, 8), " means nothing, ignored");
        return;
    }
    journal("write one-shot trigger: one frame");
    imager.trigger(features);
}

std::uint32_t Registers::readError(const Register&) {
    journal("read error: ", imager.failed() ? "a format, mode or trigger was refused" : "none");
    return imager.failed() ? kTopBit : 0;
}

std::uint32_t Registers::readControl(const Register& self) {
    const std::uint32_t bits = features.control(self.feature);
    journal("read ", self.name, ": ", hex(bits, 8));
    return bits;
}

void Registers::writeControl(const Register& self, std::uint32_t value) {
    if (!features.setControl(self.feature, value)) {
        journal("write ", self.name, ": ", hex(value, 8), " means nothing, ignored");
        return;
    }
    const auto has = [value](std::uint32_t bit) { return (value & bit) != 0; };
    journal("write ", self.name, ": ", has(Features::kOn) ? "on" : "off",
            has(Features::kAutomatic) ? ", automatic" : "",
            has(Features::kAbsolute) ? ", in absolute values" : "");
}

std::uint32_t Registers::readValue(const Register& self) {
    const float value = features.value(self.feature);
    journal("read ", self.name, ": ", value, unitOf(self.feature));
    return std::bit_cast<std::uint32_t>(value);
}

void Registers::writeValue(const Register& self, std::uint32_t value) {
    const float wanted = std::bit_cast<float>(value);
    const char* unit = unitOf(self.feature);
    const auto taken = features.setValue(self.feature, wanted);
    if (taken == wanted)
        journal("write ", self.name, ": ", wanted, unit);
    else if (taken)
        journal("write ", self.name, ": ", wanted, unit, ", becomes ", *taken, unit);
    else
        journal("write ", self.name, ": ", wanted, unit, ", ignored, ",
                features.manual(self.feature) ? "it is no number"
                                              : "the camera is in charge of it");
}

std::uint32_t Registers::readTemperature(const Register&) {
    constexpr double zeroCelsius = 273.15; // in kelvin
    const double celsius = instrument.cooler().sensorTemperature();
    const auto tenths = static_cast<std::uint32_t>(std::lround((celsius + zeroCelsius) * 10.0));
    journal("read temperature: ", celsius, " degrees, ", tenths, " tenths of a kelvin");
    return kTemperaturePresent | tenths;
}

std::uint32_t Registers::readUpTime(const Register&) {
    constexpr std::uint32_t counterMask = 0x0FFFFFFF;
    const auto seconds = static_cast<std::uint32_t>((clock.now() - poweredAt) / kSecond);
    journal("read up time: ", seconds, " s");
    return kUpTimePresent | (seconds & counterMask);
}

std::uint32_t Registers::readSerial(const Register&) {
    journal("read serial number: ", model.serial);
    return model.serial;
}

std::uint32_t Registers::readBoard(const Register&) {
    constexpr std::uint32_t familyBoards = 0x40;
    const std::uint32_t board = familyBoards | (model.productId & 0x0FU);
    journal("read board: ", hex(board));
    return board << 20 | 0x3U; // and the revision of the board
}

std::uint32_t Registers::readVersion(const Register&) {
    journal("read version: ", unsigned{model.versionMajor}, ".", unsigned{model.versionMinor},
            " revision ", kRevision);
    return std::uint32_t{model.versionMajor} << 24 | std::uint32_t{model.versionMinor} << 16 |
           kRevision;
}

} // namespace tavo::virtualcamera
