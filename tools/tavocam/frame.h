// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FRAME_H
#define TAVOCAM_FRAME_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavocam {

// Pixels row by row from the top left corner, without gaps.
struct Frame {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint16_t> pixels;
};

} // namespace tavocam

#endif
