// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Intel HEX, as compilers and assemblers for small controllers write it.
#ifndef TAVO_FIRMWARE_INTEL_HEX_H
#define TAVO_FIRMWARE_INTEL_HEX_H

#include "records.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace tavo::firmware {

// Reads data (00) and end (01) records. The extended address records (02, 04) are accepted when
// they name address 0, since the controller has no more than 64 KiB. Data records without data are
// left out. Throws MalformedImage.
Image readIntelHex(std::string_view text);

// Reads a file in whichever of the two formats it is. Throws MalformedImage.
Image readImage(std::span<const std::uint8_t> file);

} // namespace tavo::firmware

#endif
