// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The public header declares FIRMWARE constant; tests change it, so this file does without that
// header.
#include "fake/firmware.h"

#include <algorithm>
#include <stdexcept>

extern "C++" {
extern unsigned char FIRMWARE[65537];
}
unsigned char FIRMWARE[65537] = {};

namespace tavo::test {

void setFirmware(const Bytes& image) {
    if (image.size() >= std::size(FIRMWARE))
        throw std::length_error("firmware image too long");
    std::fill(std::begin(FIRMWARE), std::end(FIRMWARE), static_cast<unsigned char>(0));
    std::copy(image.begin(), image.end(), std::begin(FIRMWARE));
}

} // namespace tavo::test
