// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Usage: unplug_test UNPLUG PLUG
//
// A camera is unplugged by the shell command UNPLUG while its image is being read, plugged in again
// by PLUG, and used again, all in one process. The camera has to read out slowly enough for UNPLUG
// to come in between.
#include "guest_program.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using namespace guest;

// In small reads, some of which are done when the camera goes.
constexpr long kPacketSize = 64 * 1024;
// A read takes up to four of the kernel's requests and the command before it one, so that the
// first read is over by then.
constexpr long kRequestsOfStart = 8;

void run(const char* command) {
    if (std::system(command) != 0)
        giveUp(std::string("the command succeeds: ") + command);
}

// How many requests the kernel was given for the one camera of the machine.
long requestCount() {
    for (const auto& entry : std::filesystem::directory_iterator("/sys/bus/usb/devices")) {
        // Names with a dash belong to devices behind a hub, those with a colon to their interfaces.
        const std::string name = entry.path().filename();
        if (name.find('-') == std::string::npos || name.find(':') != std::string::npos)
            continue;
        long count = 0;
        std::ifstream(entry.path() / "urbnum") >> count;
        return count;
    }
    return 0;
}

bool fetch(TavoCamera& camera, std::vector<unsigned short>& pixels) {
    return camera.getImage(pixels.data(), static_cast<unsigned>(pixels.size()));
}

std::vector<unsigned short> blackImage(const Window& window) {
    return std::vector<unsigned short>(std::size_t{window.width} * window.height);
}

void unplugWhileReading(TavoCamera& camera, const char* unplug) {
    const Window sensor = sensorOf(camera);
    auto pixels = blackImage(sensor);
    camera.setParam(MAX_PACKET_SIZE, kPacketSize);
    requestImage(camera, sensor);
    const long before = requestCount();
    bool result = true;
    std::thread reader([&] { result = fetch(camera, pixels); });
    const bool started = waitFor([&] { return requestCount() >= before + kRequestsOfStart; });
    if (started)
        run(unplug);
    reader.join();
    check(started, "the readout starts");
    checkRefused(camera, result, "getImage of an unplugged camera", "Failed to get image");
    // The sky is nowhere black.
    check(pixels.front() != 0 && pixels.back() == 0,
          "the buffer holds what had arrived and no more");
}

// None of these may wait: the lock is free.
void useUnplugged(TavoCamera& camera) {
    checkRefused(camera, camera.readCCD(0, 0, 8, 8, 1, 1, 0.01), "readCCD of an unplugged camera",
                 "Failed to read CCD");
    check(waitFor([] { return !findCamera(); }), "the camera is not listed any more");
    camera.close();
    checkRefused(camera, camera.open(), "open of an unplugged camera", "Failed to open device");
}

void usePluggedIn() {
    CameraPointer camera;
    if (!waitFor([&] { return bool(camera = findCamera()); }))
        giveUp("the camera is listed again");
    // Listed before its node exists, maybe.
    if (!waitFor([&] { return camera->open(); }))
        giveUp("the camera that is plugged in again opens");
    const Window window{200, 100};
    auto pixels = blackImage(window);
    requestImage(*camera, window);
    check(fetch(*camera, pixels), "the camera that is plugged in again gives an image");
    check(pixels.front() != 0 && pixels.back() != 0, "the image is whole");
    camera->close();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: unplug_test UNPLUG PLUG\n");
        return 2;
    }
    CameraPointer camera = findCamera();
    if (!camera || !camera->open())
        giveUp("there is a camera that opens");
    unplugWhileReading(*camera, argv[1]);
    useUnplugged(*camera);
    run(argv[2]);
    usePluggedIn();
    return verdict();
}
