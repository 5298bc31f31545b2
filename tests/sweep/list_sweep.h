// SPDX-License-Identifier: LGPL-2.1-or-later
//
// TavoCamera::list with two cameras of a family and another device on the bus: what it returns,
// who holds which reference, what is left allocated.
#pragma once

#include "report.h"

namespace tavo::sweep {

// Before anything else lists: libusb is started once in a process.
Tally sweepStart();
Tally sweepList(CAMERA_TYPE type);

} // namespace tavo::sweep
