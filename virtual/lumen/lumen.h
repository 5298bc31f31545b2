// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware of the Lumen cameras: numbered commands in packets that the serial port carries both
// ways at once, so that a packet has room for its own answer. Numbers have their high byte first.
// Images, and nothing else, come over the parallel link.
#pragma once

#include "../camera/accessory_commands.h"
#include "../camera/camera_device.h"
#include "../camera/digitiser.h"
#include "../camera/exposure_sequence.h"
#include "../camera/instrument.h"
#include "../camera/model.h"
#include "../camera/thermal_commands.h"
#include "../controller/clock.h"
#include "../controller/electronics.h"
#include "../controller/journal.h"
#include "gain_stage.h"
#include "gpio_lines.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

std::span<const Model> lumenModels();
std::unique_ptr<Electronics> makeLumenElectronics(const CameraParts& parts);

class LumenFirmware final : public Electronics {
public:
    explicit LumenFirmware(const CameraParts& parts);

    LinkTables linkTables() const override;
    bool linkEnabled(const Ports& ports) const override;
    void presetLines(Ports& ports) const override;
    void linesChanged(const Ports& ports) override { selected = linkEnabled(ports); }
    void receive(std::span<const std::uint8_t> bytes) override;
    void linkReset() override;
    std::optional<std::vector<std::uint8_t>> serialTransfer(const FramedRequest& request) override;

private:
    using Arguments = std::span<const std::uint8_t>;
    using Answer = std::vector<std::uint8_t>;

    enum class Served {
        always,
        afterStart, // of the application
        whenIdle,   // and not while the sensor is being cleared
    };
    struct Handler {
        std::uint8_t command;
        std::size_t argumentBytes;
        std::size_t answerBytes;
        Served served;
        const char* name;
        // False: the command is refused, and whatever the answer holds is dropped.
        bool (LumenFirmware::*serve)(Arguments, Answer&);

        std::size_t packetBytes() const;
    };
    static const Handler kHandlers[];

    struct Readout;

    std::optional<Answer> packet(std::span<const std::uint8_t> bytes);
    std::string formProblem(const Handler& handler, std::span<const std::uint8_t> bytes) const;
    bool servesNow(const Handler& handler) const;
    Answer poll(std::span<const std::uint8_t> bytes);
    bool applicationRuns() const;
    bool clearing() const { return clock.now() < clearedAt; }

    bool kernelPing(Arguments arguments, Answer& answer);
    bool ping(Arguments arguments, Answer& answer);
    bool describe(Arguments arguments, Answer& answer);
    bool tellClearTime(Arguments arguments, Answer& answer);
    bool initialise(Arguments arguments, Answer& answer);
    bool tellSerialNumber(Arguments arguments, Answer& answer);
    unsigned descriptionFlags() const;

    bool exposureControl(Arguments arguments, Answer& answer);
    bool clearSensor(Arguments arguments, Answer& answer);
    bool startExposure(Arguments arguments, Answer& answer);
    bool readOut(Arguments arguments, Answer& answer);
    const char* problemWith(const Readout& readout) const;
    Exposure takeExposure(const Readout& readout);
    double registerClearSeconds() const;

    bool countSensors(Arguments arguments, Answer& answer);
    bool readSensor(Arguments arguments, Answer& answer);
    bool describeCooler(Arguments arguments, Answer& answer);
    bool coolingStatus(Arguments arguments, Answer& answer);
    bool setCooling(Arguments arguments, Answer& answer);
    bool warmUp(Arguments arguments, Answer& answer);
    bool driveTowards(unsigned reading);

    bool closeRight(Arguments, Answer&) { return accessories.closeRelay(Relay::right); }
    bool closeLeft(Arguments, Answer&) { return accessories.closeRelay(Relay::left); }
    bool closeUp(Arguments, Answer&) { return accessories.closeRelay(Relay::up); }
    bool closeDown(Arguments, Answer&) { return accessories.closeRelay(Relay::down); }
    bool releaseRelays(Arguments, Answer&) { return accessories.releaseRelays(); }
    bool wheelStatus(Arguments arguments, Answer& answer);
    bool selectFilter(Arguments arguments, Answer& answer);
    bool readGpio(Arguments arguments, Answer& answer);
    bool setGpioDirections(Arguments arguments, Answer& answer);
    bool setGpioStates(Arguments arguments, Answer& answer);
    bool hasGpio(unsigned command) const;
    bool readGainStage(Arguments arguments, Answer& answer);
    bool writeGainStage(Arguments arguments, Answer& answer);

    const Model& model;
    Instrument& instrument;
    const Clock& clock;
    const Journal& journal;
    bool selected = false; // the lines are set up, so that the port reaches the head
    std::optional<Microseconds> startedAt; // when the application runs, once it has been started
    bool statusPending = false;            // whether a poll asks for the start's outcome
    Microseconds clearedAt = 0;
    ExposureSequence sequence;
    Digitiser digitiser;
    ThermalCommands thermal;
    AccessoryCommands accessories;
    GainStage gainStage;
    GpioLines gpio;
};

} // namespace tavo::virtualcamera
