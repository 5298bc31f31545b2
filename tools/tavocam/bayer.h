// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_BAYER_H
#define TAVOCAM_BAYER_H

#include <optional>
#include <string>

#include "arguments.h"
#include "tavoccdusb.h"

namespace tavocam {

// The colours of the frame's first 2 by 2 pixels, row by row; none for a monochrome sensor and for
// binned frames, whose pixels mix colours.
std::optional<std::string> bayerPattern(const TavoCapabilities& capabilities, const Window& window,
                                        const Binning& binning);

} // namespace tavocam

#endif
