// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The numbered commands that read temperatures and drive the cooler. What they do is the same in
// every family that has them; the bytes of their answers are not.
#pragma once

#include "../controller/clock.h"
#include "../controller/journal.h"
#include "camera_device.h"
#include "cooler_panel.h"

#include <optional>

namespace tavo::virtualcamera {

class ThermalCommands {
public:
    static constexpr Microseconds kConversionTime = 50 * kMillisecond; // of a temperature

    struct Reading {
        unsigned kind; // 1: 10 bits, 2: 12 bits
        unsigned value;
    };
    struct CoolerDescription {
        unsigned flags;
        unsigned minPower; // raw
        unsigned maxPower;
    };

    explicit ThermalCommands(const CameraParts& parts);

    unsigned countSensors() const;
    // Nothing when there is no such sensor.
    std::optional<Reading> readSensor(unsigned sensor) const;
    CoolerDescription describeCooler() const;
    CoolerPanel::Status coolingStatus() const;
    // Whether the value suits the cooler.
    bool setCooling(unsigned value);
    void warmUp();

private:
    const Model& model;
    Instrument& instrument;
    const Journal& journal;
    CoolerPanel panel;
};

} // namespace tavo::virtualcamera
