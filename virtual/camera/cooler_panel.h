// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The cooler as the commands of a camera's firmware show it: flags, raw power and
// temperature readings.
#pragma once

#include "instrument.h"
#include "model.h"

#include <optional>
#include <string>

namespace tavo::virtualcamera {

// Temperature readings of so many bits and degrees Celsius.
unsigned temperatureReading(double celsius, unsigned bits = 12);
double celsiusOf(unsigned reading, unsigned bits = 12);

class CoolerPanel {
public:
    struct Status {
        unsigned power; // raw
        unsigned flags;
        unsigned target; // a reading
    };

    // Both outlive the panel.
    CoolerPanel(const Model& model_, Instrument& instrument_)
        : model(model_), instrument(instrument_) {}

    unsigned descriptionFlags() const;
    Status status() const;
    // Takes a reading to regulate to, or 0xFF00 and a raw power level, as the cooler's kind wants
    // it. Returns what was done, in words; nothing when the value does not suit the cooler.
    std::optional<std::string> set(unsigned value);
    // False when the cooler cannot be controlled.
    bool warmUp();

private:
    void drive(unsigned level);

    const Model& model;
    Instrument& instrument;
};

} // namespace tavo::virtualcamera
