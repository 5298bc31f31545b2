// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FAMILY_H
#define TAVOCAM_FAMILY_H

#include <string_view>

#include "tavoccdusb.h"

namespace tavocam {

std::string_view familyName(CAMERA_TYPE type);

// The family of a camera that is not open. Only an open camera reports its family, but every
// model's name holds the family's; "unknown" when one does not.
std::string_view familyOfModel(std::string_view modelName);

std::string_view coolerName(COOLER_TYPE type);
std::string_view coolingStateName(COOLING_STATE state);

// Whether the camera's cooler answers getCoolingStatus, setCooling and initiateWarmUp.
bool coolerIsControllable(CAMERA_TYPE type, const TavoCapabilities& capabilities);

} // namespace tavocam

#endif
