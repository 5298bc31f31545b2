// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The virtual cameras that can be plugged in, by name.
#pragma once

#include "../controller/journal.h"
#include "../usb/device.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

struct ModelInfo {
    std::string key;
    std::string name;
    std::uint16_t productId;
    std::string summary;
};

const std::vector<ModelInfo>& models();

// Makes a camera of the model `key`. `speed` (0.001 to 100000) is how many times faster than the
// wall its time runs; `log`, when set, is told in words what the camera does. Options, all of them
// optional, and refused where the family has nothing of the kind:
//   serial=N          serial number
//   seed=N            another sky, other hot pixels, other noise
//   ambient=C         degrees Celsius around the camera, -40 to 50
//   shutter=0|1       mechanical shutter
//   wheel=N           positions of the filter wheel, 0 to 10 (0: none)
//   cooler=none|always|onoff|power|setpoint
//   gpio=N            general-purpose lines, 0 to 16
//   eight-bit=0|1     readout of one byte a pixel
//   guide=0|1         guide port
//   guide-rate=R      arcseconds a second, 0 to 60, by which a closed relay moves the field
//   drift-x=R, drift-y=R
//                     arcseconds a second, -10 to 10, by which the field drifts by itself
//   periodic-error=A  arcseconds, 0 to 600: greatest error of the mount's worm, along x
//   period=T          seconds, 1 to 86400: a turn of the worm
//   ping=0|1          whether the firmware answers when it is asked for a sign of life
//   firmware=any|required
//                     any (the default): the processor serves requests as soon as it was held and
//                     let go, whatever its memory holds; required: only when at least one byte of
//                     its memory was written since power-up
//   colour=0|1|2|3    colour sensor with its first red pixel at (0,0), (0,1), (1,0) or (1,1)
//   samples=1|2       of a pixel: its value, or a reference and a signal that the host subtracts
// Temperature sensor 1 is on the chip and 2 on the heat sink; number 0 answers as the chip.
// Throws std::invalid_argument with a text for the user.
std::unique_ptr<virtualusb::Device> makeCamera(const std::string& key,
                                               const std::map<std::string, std::string>& options,
                                               double speed, Log log);

} // namespace tavo::virtualcamera
