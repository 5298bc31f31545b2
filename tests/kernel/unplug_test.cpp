// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Usage: unplug_test UNPLUG PLUG [UNPLUG PLUG...]
//
// A camera is unplugged by the shell command UNPLUG while its image is being read, plugged in again
// by PLUG, and used again, as often as there are such pairs, all in one process. The camera has to
// read out slowly enough for UNPLUG to come in between. With an empty UNPLUG it goes by itself.
#include "guest_program.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace guest;
using Image = std::vector<unsigned short>;

// In small reads, many of which are left when the camera goes.
constexpr long kPacketSize = 4096;
// More than a family asks for before its first pixels, which are a read or two.
constexpr long kRequestsOfStart = 16;
// Until the exposure is over even where the camera's time passes slowly: a family that is asked
// again and again whether it is, would be taken for one that is read.
constexpr std::chrono::seconds kExposureIsOver{2};

void run(const std::string& command) {
    if (!command.empty() && std::system(command.c_str()) != 0)
        giveUp("the command succeeds: " + command);
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

// One family's images lie in the buffer without gaps only when they are square.
Window square(unsigned side) {
    return {side, side};
}

Image blackImage(const Window& window) {
    return Image(std::size_t{window.width} * window.height);
}

// Pixels that a camera sent differ, those that never arrived are all the same.
bool isSent(std::span<const unsigned short> row) {
    return std::any_of(row.begin(), row.end(), [&](auto pixel) { return pixel != row.front(); });
}

bool isFirstRowSent(const Image& image, const Window& window) {
    return isSent(std::span(image).first(window.width));
}

bool isLastRowSent(const Image& image, const Window& window) {
    return isSent(std::span(image).last(window.width));
}

bool fetch(TavoCamera& camera, Image& image) {
    return camera.getImage(image.data(), static_cast<unsigned>(image.size()));
}

CAMERA_TYPE familyOf(TavoCamera& camera) {
    CAMERA_TYPE family{};
    TavoCapabilities caps{};
    if (!camera.getCapabilities(nullptr, &family, &caps))
        giveUp("the camera tells its family");
    return family;
}

// Short exposures show next to no stars: sound images are alike in their level and their noise.
struct Look {
    double mean;
    double deviation;
};

Look lookOf(const Image& image) {
    double sum = 0;
    for (const auto pixel : image)
        sum += pixel;
    const double mean = sum / static_cast<double>(image.size());
    double squares = 0;
    for (const auto pixel : image)
        squares += (pixel - mean) * (pixel - mean);
    return {mean, std::sqrt(squares / static_cast<double>(image.size()))};
}

bool areAlike(const Look& one, const Look& other) {
    constexpr double kLevelTolerance = 0.02;
    // A few hot pixels make much of it, and are brighter when the sensor is warmer.
    constexpr double kNoiseFactor = 1.5;
    return std::abs(one.mean - other.mean) < kLevelTolerance * other.mean &&
           one.deviation < kNoiseFactor * other.deviation &&
           other.deviation < kNoiseFactor * one.deviation;
}

std::string told(const Look& look) {
    return std::to_string(look.mean) + " +- " + std::to_string(look.deviation);
}

Look takePicture(TavoCamera& camera, const std::string& which) {
    constexpr unsigned kSide = 200;
    const Window window = square(kSide);
    Image image = blackImage(window);
    requestImage(camera, window);
    check(fetch(camera, image), which + " gives an image");
    check(isFirstRowSent(image, window) && isLastRowSent(image, window), "the image is whole");
    return lookOf(image);
}

void unplugWhileReading(TavoCamera& camera, const std::string& unplug) {
    const Window sensor = sensorOf(camera);
    const Window window = square(std::min(sensor.width, sensor.height));
    Image image = blackImage(window);
    camera.setParam(MAX_PACKET_SIZE, kPacketSize);
    requestImage(camera, window);
    std::this_thread::sleep_for(kExposureIsOver);
    const long before = requestCount();
    bool result = true;
    std::thread reader([&] { result = fetch(camera, image); });
    const bool started =
        unplug.empty() || waitFor([&] { return requestCount() >= before + kRequestsOfStart; });
    if (started)
        run(unplug);
    reader.join();
    check(started, "the readout starts");
    checkRefused(camera, result, "getImage of an unplugged camera", "Failed to get image");
    // Frames of this one are cut to the window when they are complete.
    const bool keepsParts = familyOf(camera) != GLINT_CAMERA;
    check(isFirstRowSent(image, window) == keepsParts && !isLastRowSent(image, window),
          "the buffer holds what had arrived and no more");
}

// None of these may wait: the lock is free.
void useUnplugged(TavoCamera& camera) {
    Image image = blackImage(square(8));
    const bool requested = camera.readCCD(0, 0, 8, 8, 1, 1, 0.01);
    // One family's requests are never acknowledged, so that only the image can fail.
    if (familyOf(camera) == GLINT_CAMERA)
        checkRefused(camera, requested && fetch(camera, image), "an image of an unplugged camera",
                     "Failed to get image");
    else
        checkRefused(camera, requested, "readCCD of an unplugged camera", "Failed to read CCD");
    check(waitFor([] { return !findCamera(); }), "the camera is not listed any more");
    camera.close();
    checkRefused(camera, camera.open(), "open of an unplugged camera", "Failed to open device");
}

CameraPointer openPluggedIn() {
    CameraPointer camera;
    if (!waitFor([&] { return bool(camera = findCamera()); }))
        giveUp("the camera is listed");
    // Listed before its node exists, maybe.
    if (!waitFor([&] { return camera->open(); }))
        giveUp("the camera opens");
    return camera;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> commands(argv + 1, argv + argc);
    if (commands.empty() || commands.size() % 2 != 0) {
        std::fprintf(stderr, "Usage: unplug_test UNPLUG PLUG [UNPLUG PLUG...]\n");
        return 2;
    }
    CameraPointer camera = openPluggedIn();
    const Look usual = takePicture(*camera, "the camera");
    for (std::size_t n = 0; n < commands.size(); n += 2) {
        unplugWhileReading(*camera, commands[n]);
        useUnplugged(*camera);
        run(commands[n + 1]);
        camera = openPluggedIn();
        const Look again = takePicture(*camera, "the camera that is plugged in again");
        check(areAlike(again, usual), "it is like the first: " + told(again) + ", " + told(usual));
    }
    camera->close();
    return verdict();
}
