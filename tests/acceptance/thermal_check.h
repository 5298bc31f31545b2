// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Temperatures, the cooler, and what they do to dark frames. Spread over the run, since cooling
// takes its time.
#pragma once

#include "session.h"

#include <vector>

namespace acceptance {

class ThermalCheck {
public:
    explicit ThermalCheck(Session& session_) : session(session_) {}

    void start();    // reads the sensors, takes a warm frame, and starts to cool
    void underWay(); // takes a frame at a temperature in between
    void finish();   // waits for the cold, takes a cold frame, and warms up

private:
    struct Sample {
        float before, after; // degrees Celsius
        double level;        // above that of the shortest exposure
    };

    bool controllable() const;
    bool darkFrames() const;
    Sample take();
    std::string dark();
    std::string startCooling();
    std::string reach();
    std::string law() const;
    std::string lawByTwo(const Sample& warm, const Sample& cold) const;
    std::string lawByThree() const;
    std::string warmUp();

    Session& session;
    std::vector<Sample> samples;
    float ambient = 0;
    float target = 0;
    bool cooling = false;
};

} // namespace acceptance
