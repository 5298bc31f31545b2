// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "input.h"
#include "tavocameraimpl.h"
#include "virtual_camera/cable.h"

namespace tavo::fuzz {

// The driver at the same cable.
class Driver {
public:
    Driver(Input& given, Cable& between, CAMERA_TYPE type)
        : input(given), cable(between), camera(nullptr, "Camera", type) {}

    // False when the process ended, as it does where a camera does not name its kind of sensor.
    bool operation();

private:
    void serve();
    void ask();
    void expose();
    void image();

    Input& input;
    Cable& cable;
    TavoCameraImpl camera;
};

} // namespace tavo::fuzz
