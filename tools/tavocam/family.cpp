// SPDX-License-Identifier: LGPL-2.1-or-later
#include "family.h"

namespace tavocam {

std::string_view familyName(CAMERA_TYPE type) {
    switch (type) {
    case BASIN_CAMERA: return "Basin";
    case RIDGE_CAMERA: return "Ridge";
    case HERON_CAMERA: return "Heron";
    case GLINT_CAMERA: return "Glint";
    case LUMEN_CAMERA: return "Lumen";
    }
    return "unknown";
}

std::string_view familyOfModel(std::string_view modelName) {
    for (const CAMERA_TYPE type :
         {BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA, LUMEN_CAMERA}) {
        if (modelName.find(familyName(type)) != std::string_view::npos)
            return familyName(type);
    }
    return "unknown";
}

std::string_view coolerName(COOLER_TYPE type) {
    switch (type) {
    case COOLER_NONE: return "none";
    case COOLER_ALWAYSON: return "always on";
    case COOLER_ONOFF: return "can be switched on";
    case COOLER_SELECTPOWER: return "runs at a chosen power";
    case COOLER_SETPOINT: return "regulates to a temperature";
    }
    return "unknown";
}

std::string_view coolingStateName(COOLING_STATE state) {
    switch (state) {
    case COOLING_INACTIVE: return "off";
    case COOLING_ON: return "on";
    case COOLING_SETPOINT: return "regulating";
    case WARMING_UP: return "warming up";
    }
    return "unknown";
}

bool coolerIsControllable(CAMERA_TYPE type, const TavoCapabilities& capabilities) {
    const bool servesCooling = type == BASIN_CAMERA || type == RIDGE_CAMERA || type == LUMEN_CAMERA;
    return servesCooling && capabilities.coolerType > COOLER_ALWAYSON;
}

} // namespace tavocam
