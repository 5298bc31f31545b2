// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Shifts an exposure out of the sensor and into the FIFO, at the pace of the camera's converter.
#pragma once

#include "camera_device.h"
#include "frame_bytes.h"

#include <cstddef>

namespace tavo::virtualcamera {

// How pixels travel; by default as words, low byte first.
struct PixelForm {
    RowEncoder encode = littleEndianRow;
    std::size_t bytesPerPixel = 2;
    // Pixels that come out of the converter before the first of the image; as many of the last
    // ones stay in it.
    std::size_t lag = 0;
};

class Digitiser {
public:
    explicit Digitiser(const CameraParts& parts_) : parts(parts_) {}

    // Pixels follow in `form`. `seconds` go by before the exposure is over; 0 when it is already. A
    // preview is twice as fast and as noisy.
    void send(Exposure exposure, const Window& window, bool preview, double seconds,
              const PixelForm& form = {}) const;

private:
    CameraParts parts;
};

} // namespace tavo::virtualcamera
