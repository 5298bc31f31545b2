// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Temperatures, the cooler, and what they do to dark current. Spread over the run, since cooling
// takes its time.
#pragma once

#include "session.h"

#include <optional>

namespace acceptance {

class ThermalCheck {
public:
    explicit ThermalCheck(Session& session_) : session(session_) {}

    void start();      // reads the sensors, takes a warm frame, and starts to cool
    void whenCold();   // waits for the cold, takes a cold frame, and starts to warm up
    void whenWarmed(); // waits for the end of that

private:
    struct Sample {
        float before, after; // degrees Celsius
        double level;        // above that of the shortest exposure
        double error;        // that the level may have
        double sky;          // what of it is light
    };

    bool controllable() const;
    bool darkFrames() const;
    Sample take();
    std::string background(std::optional<Sample>& sample);
    std::string startCooling();
    std::string reach();
    std::string law() const;
    std::string startWarming();
    std::string warmed() const;

    Session& session;
    std::optional<Sample> warm, cold;
    float ambient = 0;
    float target = 0;
    float coldest = 0;
    bool cooling = false;
    bool warming = false;
};

} // namespace acceptance
