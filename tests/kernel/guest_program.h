// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the test programs inside the emulated machine share. They use the public header alone.
#pragma once

#include <tavoccdusb.h>

#include <functional>
#include <memory>
#include <string>

namespace guest {

struct DestroyCamera {
    void operator()(TavoCamera* camera) const { TavoCamera_destroy(camera); }
};
using CameraPointer = std::unique_ptr<TavoCamera, DestroyCamera>;

struct Window {
    unsigned width;
    unsigned height;
};

// Prints a line of the outcome and remembers a failure.
void check(bool holds, const std::string& what);
void checkRefused(TavoCamera& camera, bool result, const std::string& operation, const char* text);
// For what nothing can follow: ends the program.
[[noreturn]] void giveUp(const std::string& what);
// The exit status.
int verdict();

// False when it does not come to hold within half a minute.
bool waitFor(const std::function<bool()>& condition);

// Null when there is none.
CameraPointer findCamera();
Window sensorOf(TavoCamera& camera);
// Asks for an image at the sensor's corner, exposed for a moment.
void requestImage(TavoCamera& camera, const Window& window);

} // namespace guest
