// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_PNG_FILE_H
#define TAVOCAM_PNG_FILE_H

#include <cstddef>
#include <vector>

#include "preview.h"

namespace tavocam {

// A complete PNG file. Throws std::runtime_error when it cannot be made.
std::vector<std::byte> encodePng(const GreyImage& image);

} // namespace tavocam

#endif
