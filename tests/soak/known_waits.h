// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Calls that wait for long by design. All others must end by themselves.
#pragma once

#include <string>

namespace tavo::soak {

// "basin open", of a family and a call such as "open()".
std::string waitName(const std::string& family, const std::string& call);

// Why such a call may wait for long; null when it may not.
const char* reasonToWait(const std::string& name);

// Whether it may go on when the camera is well again, until it is unplugged.
bool mayOutlastFaults(const std::string& name);

// Whether such a call may have waited, until the faults ended or until the camera was unplugged.
bool isKnownWait(const std::string& name, bool untilUnplugged);

} // namespace tavo::soak
