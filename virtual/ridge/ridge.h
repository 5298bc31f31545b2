// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware of the Ridge cameras: numbered commands over the parallel link, answers in words
// (16 bits, low byte first) through the FIFO.
#pragma once

#include "../camera/accessory_commands.h"
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
#include "../controller/journal.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

std::span<const Model> ridgeModels();
std::unique_ptr<Electronics> makeRidgeElectronics(const CameraParts& parts);

class RidgeFirmware final : public Electronics {
public:
    explicit RidgeFirmware(const CameraParts& parts);

    LinkTables linkTables() const override;
    bool linkEnabled(const Ports& ports) const override;
    void receive(std::span<const std::uint8_t> bytes) override;
    void linkReset() override;

private:
    static const CommandHandler<RidgeFirmware> kHandlers[];

    struct Readout;

    void reply(std::initializer_list<unsigned> words, Microseconds delay = 0);
    void replyText(const std::string& text);
    void answer(std::vector<std::uint8_t> bytes, Microseconds readyAt);
    void acknowledge(bool done);

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
    void readOut(Arguments arguments);
    void setShutter(Arguments arguments);
    void closeRight(Arguments arguments) { closeRelay(arguments, Relay::right); }
    void closeLeft(Arguments arguments) { closeRelay(arguments, Relay::left); }
    void closeUp(Arguments arguments) { closeRelay(arguments, Relay::up); }
    void closeDown(Arguments arguments) { closeRelay(arguments, Relay::down); }
    void closeRelay(Arguments arguments, Relay relay);
    void releaseRelays(Arguments arguments);
    void wheelStatus(Arguments arguments);
    void selectFilter(Arguments arguments);

    bool acceptable(const Readout& readout) const;
    Exposure takeExposure(const Readout& readout);
    unsigned descriptionFlags() const;

    Model model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    Journal journal;
    bool applicationStarted = false;
    ExposureSequence sequence;
    Digitiser digitiser;
    ThermalCommands thermal;
    AccessoryCommands accessories;
};

} // namespace tavo::virtualcamera
