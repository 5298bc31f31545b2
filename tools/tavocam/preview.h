// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_PREVIEW_H
#define TAVOCAM_PREVIEW_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame.h"

namespace tavocam {

inline constexpr std::size_t kLargestPreviewWidth = 1600; // pixels

// An 8-bit grey image, row by row from the top.
struct GreyImage {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint8_t> pixels;
};

// How many pixels are averaged, each way, into one of the preview. A colour mosaic is averaged at
// least two by two, so that its pattern does not show.
std::size_t previewFactor(std::size_t width, bool mosaic);

// Averages blocks of factor by factor pixels; what is left at the right and bottom edges is
// dropped unless the frame is smaller than one block.
Frame shrink(const Frame& frame, std::size_t factor);

// Brings a faint sky up to a quarter of full brightness and keeps stars from burning out.
GreyImage stretch(const Frame& frame);

GreyImage makePreview(const Frame& frame, bool mosaic);

} // namespace tavocam

#endif
