// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware of the Ridge cameras: numbered commands over the parallel link, answers in words
// (16 bits, low byte first) through the FIFO.
#pragma once

#include "../controller/clock.h"
#include "../controller/fifo.h"
#include "../controller/journal.h"
#include "../controller/parallel_link.h"
#include "instrument.h"
#include "model.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

// The interface-engine table without which the parallel link of these cameras moves nothing.
std::span<const std::uint8_t> ridgeLinkTable();

class RidgeFirmware final : public LinkTarget {
public:
    // Clock, FIFO and instrument outlive the firmware.
    RidgeFirmware(const Model& model, Instrument& instrument, const Clock& clock, Fifo& fifo,
                  Journal journal);

    void receive(std::span<const std::uint8_t> bytes) override;
    void linkReset() override;

private:
    using Arguments = std::span<const std::uint8_t>;
    struct Handler {
        std::uint8_t command;
        std::size_t argumentBytes;
        bool needsApplication; // ignored until command 44 has started it
        const char* name;
        void (RidgeFirmware::*serve)(Arguments);
    };
    static const Handler kHandlers[];

    // How far the sequence that leads to an image has got.
    enum class Stage { idle, prepared, cleared, exposing, exposed };
    struct Readout;

    void dispatch(const Handler& handler, Arguments arguments);
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

    void finishExposure();
    bool drivePower(unsigned level);
    bool acceptable(const Readout& readout) const;
    std::optional<Exposure> takeExposure(const Readout& readout);
    unsigned descriptionFlags() const;
    unsigned coolerFlags() const;

    Model model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    Journal journal;
    bool applicationStarted = false;
    Stage stage = Stage::idle;
    std::optional<Exposure> exposed;
};

} // namespace tavo::virtualcamera
