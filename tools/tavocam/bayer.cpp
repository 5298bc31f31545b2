// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bayer.h"

namespace tavocam {

std::optional<std::string> bayerPattern(const TavoCapabilities& capabilities, const Window& window,
                                        const Binning& binning) {
    if (capabilities.colourType != COLOUR_BAYER || binning != Binning{1, 1})
        return std::nullopt;
    // A window that starts one pixel further right sees red one column further left.
    const unsigned column = (static_cast<unsigned>(capabilities.offsetX) ^ window.x) & 1U;
    const unsigned row = (static_cast<unsigned>(capabilities.offsetY) ^ window.y) & 1U;
    if (row == 0)
        return column == 0 ? "RGGB" : "GRBG";
    return column == 0 ? "GBRG" : "BGGR";
}

} // namespace tavocam
