// SPDX-License-Identifier: LGPL-2.1-or-later
#include "../basin/basin.h"
#include "../glint/glint.h"
#include "../heron/heron.h"
#include "../lumen/lumen.h"
#include "../ridge/ridge.h"
#include "camera_device.h"
#include "family.h"

#include <utility>

namespace tavo::virtualcamera {

namespace {

template <MakeElectronics makeElectronics>
std::unique_ptr<virtualusb::Device> assemble(const Model& model, std::shared_ptr<const Clock> clock,
                                             Log log) {
    return assembleControllerCamera(model, std::move(clock), std::move(log), makeElectronics);
}

} // namespace

std::span<const CameraFamily> families() {
    static constexpr CameraFamily table[] = {
        {"basin", basinModels, assemble<makeBasinElectronics>, "cooler ping colour firmware"},
        {"ridge", ridgeModels, assemble<makeRidgeElectronics>,
         "shutter wheel cooler guide guide-rate ping colour firmware"},
        {"heron", heronModels, assemble<makeHeronElectronics>,
         "guide guide-rate ping colour samples firmware"},
        {"glint", glintModels, assembleGlint, "colour"},
        {"lumen", lumenModels, assemble<makeLumenElectronics>,
         "wheel cooler guide guide-rate gpio eight-bit ping colour firmware"},
    };
    return table;
}

} // namespace tavo::virtualcamera
