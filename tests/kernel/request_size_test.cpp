// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the kernel makes of reads of different sizes. Its virtual host controller wants each to lie
// in one piece of memory, of which there is none above 4 MiB: a larger image cannot be read in one
// go, as the library does unless it is told another MAX_PACKET_SIZE.
#include "guest_program.h"

#include <vector>

namespace {

using namespace guest;

constexpr std::size_t kLargestPiece = 4 << 20;

bool takeImage(TavoCamera& camera, std::vector<unsigned short>& pixels) {
    requestImage(camera, sensorOf(camera));
    return camera.getImage(pixels.data(), static_cast<unsigned>(pixels.size()));
}

} // namespace

int main() {
    CameraPointer camera = findCamera();
    if (!camera || !camera->open())
        giveUp("there is a camera that opens");
    const Window sensor = sensorOf(*camera);
    std::vector<unsigned short> pixels(std::size_t{sensor.width} * sensor.height);
    check(2 * pixels.size() > kLargestPiece, "an image is larger than 4 MiB");

    checkRefused(*camera, takeImage(*camera, pixels), "getImage in one go", "Failed to get image");
    for (const long size : {512L << 10, 1L << 20}) {
        camera->setParam(MAX_PACKET_SIZE, size);
        pixels.assign(pixels.size(), 0);
        check(takeImage(*camera, pixels),
              "getImage by " + std::to_string(size) + " bytes succeeds");
        // The sky is nowhere black.
        check(pixels.front() != 0 && pixels.back() != 0, "the image is whole");
    }
    camera->close();
    return verdict();
}
