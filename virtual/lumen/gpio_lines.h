// SPDX-License-Identifier: LGPL-2.1-or-later
//
// General-purpose lines on a camera's connector: outputs show what they are set to, inputs that
// nothing drives are pulled up.
#pragma once

#include <cstdint>

namespace tavo::virtualcamera {

class GpioLines {
public:
    static constexpr unsigned kMost = 16;

    // REQUIRES: no more than kMost.
    explicit GpioLines(unsigned count_) : lines(count_) {}

    unsigned count() const { return lines; }
    // A bit a line, the lowest for the first one; 1 is an output.
    void setDirections(unsigned outputs_) { outputs = outputs_; }
    void setStates(unsigned states_) { states = states_; }
    unsigned levels() const { return ((states & outputs) | ~outputs) & ((1U << lines) - 1); }

private:
    unsigned lines;
    unsigned outputs = 0;
    unsigned states = 0;
};

} // namespace tavo::virtualcamera
