// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "fake/conversation.h"

namespace tavo::test {

// Puts an image where the driver finds FIRMWARE. At most 65536 bytes; the rest stays zero, so that
// every image ends.
void setFirmware(const Bytes& image);

} // namespace tavo::test
