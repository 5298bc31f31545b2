// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A whole camera on the end of a USB cable: the microcontroller, its buses, and a family's
// electronics put together.
#pragma once

#include "../controller/clock.h"
#include "../controller/electronics.h"
#include "../controller/fifo.h"
#include "../controller/journal.h"
#include "../usb/device.h"
#include "instrument.h"
#include "model.h"

#include <memory>

namespace tavo::virtualcamera {

// What a family's electronics work with. All of it outlives them.
struct CameraParts {
    const Model& model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    const Journal& journal;
};

using MakeElectronics = std::unique_ptr<Electronics> (*)(const CameraParts& parts);

InstrumentParts instrumentParts(const Model& model);

// REQUIRES: the model is complete; its sensor is no smaller than a pixel.
std::unique_ptr<virtualusb::Device> assembleControllerCamera(const Model& model,
                                                             std::shared_ptr<const Clock> clock,
                                                             Log log,
                                                             MakeElectronics makeElectronics);

} // namespace tavo::virtualcamera
