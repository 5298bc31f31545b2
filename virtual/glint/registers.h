// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The registers of a Glint camera: 32-bit words by their offset in its address space.
#pragma once

#include "../camera/instrument.h"
#include "../camera/model.h"
#include "../controller/clock.h"
#include "../controller/journal.h"
#include "features.h"
#include "imager.h"

#include <cstdint>
#include <optional>

namespace tavo::virtualcamera {

class Registers {
public:
    // All of it outlives the registers.
    Registers(const Model& model, Instrument& instrument, const Clock& clock, Fifo& fifo,
              const Journal& journal);

    void powerUp();

    // Nothing, or false: the camera refuses the request. A write that it takes may still do
    // nothing, which only its journal tells.
    std::optional<std::uint32_t> read(std::uint16_t offset);
    bool write(std::uint16_t offset, std::uint32_t value);

private:
    struct Register {
        std::uint16_t offset;
        const char* name;
        std::uint32_t (Registers::*read)(const Register&);        // null: write only
        void (Registers::*write)(const Register&, std::uint32_t); // null: read only
        Feature feature; // meaningless where no feature stands behind the register
    };
    static const Register kRegisters[];

    static const Register* find(std::uint16_t offset);
    bool restarting() const { return clock.now() < restartedAt; }

    void initialise(const Register& self, std::uint32_t value);
    std::uint32_t readMode(const Register& self);
    void writeMode(const Register& self, std::uint32_t value);
    std::uint32_t readFormat(const Register& self);
    void writeFormat(const Register& self, std::uint32_t value);
    std::uint32_t readTrigger(const Register& self);
    void trigger(const Register& self, std::uint32_t value);
    std::uint32_t readError(const Register& self);
    std::uint32_t readControl(const Register& self);
    void writeControl(const Register& self, std::uint32_t value);
    std::uint32_t readValue(const Register& self);
    void writeValue(const Register& self, std::uint32_t value);
    std::uint32_t readTemperature(const Register& self);
    std::uint32_t readUpTime(const Register& self);
    std::uint32_t readSerial(const Register& self);
    std::uint32_t readBoard(const Register& self);
    std::uint32_t readVersion(const Register& self);

    const Model& model;
    Instrument& instrument;
    const Clock& clock;
    const Journal& journal;
    Features features;
    Imager imager;
    bool initialised = false;
    Microseconds poweredAt = 0;
    Microseconds restartedAt = 0;
};

} // namespace tavo::virtualcamera
