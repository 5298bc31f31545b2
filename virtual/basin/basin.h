// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware of the Basin cameras. Numbered commands come as writes to it on the I2C bus, answers
// go back through the FIFO. Its processor is 8 bits wide and the FIFO 16, so that each byte of an
// answer travels with one of filler; the pixels of an image fill both.
#pragma once

#include "../camera/camera_device.h"
#include "../camera/command_handler.h"
#include "../camera/digitiser.h"
#include "../camera/exposure_sequence.h"
#include "../camera/instrument.h"
#include "../camera/model.h"
#include "../camera/thermal_commands.h"
#include "../controller/clock.h"
#include "../controller/electronics.h"
#include "../controller/fifo.h"
#include "../controller/i2c.h"
#include "../controller/journal.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

std::span<const Model> basinModels();
std::unique_ptr<Electronics> makeBasinElectronics(const CameraParts& parts);

class BasinFirmware final : public Electronics, private I2cDevice {
public:
    static constexpr std::uint8_t kBusAddress = 0x40;

    explicit BasinFirmware(const CameraParts& parts);

    LinkTables linkTables() const override;
    bool linkEnabled(const Ports& ports) const override;
    void connect(I2cBus& bus) override { bus.attach(kBusAddress, *this); }
    void receive(std::span<const std::uint8_t> bytes) override;
    void linkReset() override;

private:
    static const CommandHandler<BasinFirmware> kHandlers[];

    struct Readout;

    void write(std::span<const std::uint8_t> bytes) override;
    std::optional<std::vector<std::uint8_t>> read(std::uint32_t length) override;

    void reply(std::initializer_list<unsigned> bytes, Microseconds delay = 0);
    void replyWords(std::initializer_list<unsigned> words);
    void replyText(const std::string& text);
    void answer(const std::vector<std::uint8_t>& bytes, Microseconds readyAt);

    void ping(Arguments arguments);
    void describe(Arguments arguments);
    void initialise(Arguments arguments);
    void countSensors(Arguments arguments);
    void readSensor(Arguments arguments);
    void describeCooler(Arguments arguments);
    void coolingStatus(Arguments arguments);
    void setCooling(Arguments arguments);
    void warmUp(Arguments arguments);
    void exposureControl(Arguments arguments);
    void clearSensor(Arguments arguments);
    void startExposure(Arguments arguments);
    void sweepRegisters(Arguments arguments);
    void readOut(Arguments arguments);

    void endExposure();
    bool registersSwept() const;
    bool acceptable(const Readout& readout) const;
    Exposure takeExposure(const Readout& readout);
    void report(const Readout& readout) const;

    const Model& model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    const Journal& journal;
    bool applicationStarted = false;
    std::optional<Microseconds> sweepStarted; // of the exposure under way
    ExposureSequence sequence;
    Digitiser digitiser;
    ThermalCommands thermal;
};

} // namespace tavo::virtualcamera
