// SPDX-License-Identifier: LGPL-2.1-or-later
#include "random_user.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include <unistd.h>

namespace tavo::soak {
namespace {

constexpr std::uint64_t kStream = 2;
constexpr unsigned kMostPixels = 1 << 20;
constexpr unsigned kAnyValues[] = {0,   1,   2,    3,     7,          16,        64,
                                   255, 512, 4096, 65535, 0x7fffffff, 0xffffffff};

} // namespace

RandomUser::RandomUser(Host& host_, std::uint64_t seed) : host(host_), dice(seed, kStream) {}

void RandomUser::work() {
    for (unsigned steps = dice.between(5, 45); steps > 0; --steps)
        step();
}

void RandomUser::step() {
    if (!camera)
        findCamera();
    else if (camera->isImagePending())
        whileImagePending();
    else if (!camera->isOpen())
        whileClosed();
    else
        whileOpen();
}

void RandomUser::findCamera() {
    std::array<TavoCamera*, 4> found{};
    const int count =
        host.watched("list()", [&] { return TavoCamera::list(found.data(), found.size()); });
    if (count > 1)
        host.finding("list() finds more than there is");
    if (count < 1)
        usleep(1000000); // of the driver's time
    else
        camera = std::make_unique<WatchedCamera>(host, found[0]);
    for (int other = 1; other < count; ++other)
        TavoCamera_destroy(found[static_cast<std::size_t>(other)]);
}

void RandomUser::whileClosed() {
    const double choice = dice.fraction();
    if (choice < 0.65) {
        if (!camera->open())
            return;
        if (!toldOpen)
            host.cameraOpened();
        toldOpen = true;
        if (dice.chance(0.7))
            camera->setParameter(MAX_PACKET_SIZE, 1 << 20);
    } else if (choice < 0.75) {
        camera.reset();
    } else if (choice < 0.8) {
        camera->close();
    } else if (choice < 0.9) {
        askAnything();
    } else {
        changeAnything();
    }
}

void RandomUser::whileOpen() {
    const double choice = dice.fraction();
    if (choice < 0.35)
        exposeAndFetch();
    else if (choice < 0.4)
        exposeWhilePolled();
    else if (choice < 0.62)
        askAnything();
    else if (choice < 0.85)
        changeAnything();
    else if (choice < 0.92)
        camera->close();
    else if (choice < 0.95)
        camera->open();
    else
        changeParameter();
}

// Whatever takes the lock would wait for the image; so does opening a camera closed meanwhile.
void RandomUser::whileImagePending() {
    const double choice = dice.fraction();
    if (choice < 0.7)
        return fetch();
    if (choice < 0.78)
        return camera->readNumbers();
    if (choice < 0.86)
        return camera->readCapabilities();
    if (choice < 0.92) {
        camera->setMode(static_cast<int>(dice.below(3)), dice.chance(0.5));
        return;
    }
    if (choice < 0.95)
        return camera->close();
    if (!camera->isExposing()) {
        camera->readCCD(anyWindow());
        return;
    }
    // The way out for applications that have lost an image.
    constexpr unsigned kFarOutside = 0x7fffffff;
    camera->readCCD({kFarOutside, 0, 8, 8, 1, 1});
}

void RandomUser::exposeAndFetch() {
    last = anyWindow();
    if (dice.chance(0.5)) {
        camera->readCCD(last, anySeconds());
    } else {
        if (dice.chance(0.95))
            camera->startExposure(dice.chance(0.3));
        if (camera->isExposing() && dice.chance(0.8))
            usleep(camera->delay(dice.spread(0.01, 3)));
        if (dice.chance(0.1))
            camera->abortExposure();
        if (dice.chance(0.9))
            camera->readCCD(last);
    }
    if (dice.chance(0.8))
        fetch();
}

// A second thread asks for the temperature while the first takes an image, and waits its turn.
void RandomUser::exposeWhilePolled() {
    camera->expectTexts(false);
    std::atomic<bool> enough{false};
    std::thread poller([&] {
        while (!enough) {
            camera->pollTemperature();
            usleep(20000);
        }
    });
    last = {0, 0, 64, 48, 1, 1};
    if (camera->readCCD(last, 0.05))
        camera->getImage(camera->pixelCount(last));
    enough = true;
    host.watched("join()", [&] { poller.join(); });
    camera->expectTexts(true);
}

void RandomUser::fetch() {
    std::size_t size = std::min<std::size_t>(camera->pixelCount(last), kMostPixels);
    if (dice.chance(0.05))
        size = dice.below(static_cast<unsigned>(size) + 1);
    else if (dice.chance(0.03))
        size += dice.below(5000);
    camera->getImage(size);
}

Window RandomUser::anyWindow() {
    if (dice.chance(0.1))
        return {dice.pick(kAnyValues), dice.pick(kAnyValues), dice.pick(kAnyValues),
                dice.pick(kAnyValues), dice.pick(kAnyValues), dice.pick(kAnyValues)};
    // A spoilt description may promise any number of pixels.
    const auto within = [](unsigned value) { return std::clamp(value, 1u, 2000u); };
    const TavoCapabilities& caps = camera->capabilities();
    const unsigned width = within(caps.pixelCountX), height = within(caps.pixelCountY);
    Window window;
    window.width = 1 + dice.below(dice.chance(0.2) ? width : std::min(width, 200u));
    window.height = 1 + dice.below(dice.chance(0.2) ? height : std::min(height, 200u));
    window.x = dice.below(width - window.width + 1);
    window.y = dice.below(height - window.height + 1);
    window.binX = 1 + dice.below(within(caps.maxBinX));
    window.binY = dice.chance(0.7) ? window.binX : 1 + dice.below(within(caps.maxBinY));
    return window;
}

double RandomUser::anySeconds() {
    constexpr double kOdd[] = {0, -1, 10, 3.3};
    return dice.chance(0.05) ? dice.pick(kOdd) : dice.spread(0.001, 2);
}

void RandomUser::askAnything() {
    float celsius = 0;
    bool moving = false;
    unsigned current = 0;
    int gain = 0, offset = 0;
    switch (dice.below(8)) {
    case 0:
        camera->readTemperature(dice.chance(0.9) ? dice.below(4) : dice.pick(kAnyValues), &celsius);
        return;
    case 1: camera->readTemperature(dice.below(3), nullptr); return;
    case 2: camera->readCooling(); return;
    case 3: camera->readWheel(&moving, &current); return;
    case 4: camera->readLines(); return;
    case 5: camera->readGain(&gain, &offset); return;
    case 6: camera->readNumbers(); return;
    default: camera->readCapabilities(); return;
    }
}

void RandomUser::changeAnything() {
    const auto mask = static_cast<unsigned short>(dice.below(dice.chance(0.9) ? 16 : 65536));
    switch (dice.below(11)) {
    case 0: camera->setCooling(static_cast<float>(dice.between(0, 80)) - 50.0f); return;
    case 1: camera->warmUp(); return;
    case 2: camera->setFilter(dice.chance(0.9) ? dice.below(8) : dice.pick(kAnyValues)); return;
    case 3: camera->setShutter(dice.chance(0.5)); return;
    case 4: camera->setRelays(mask); return;
    case 5: camera->setDirection(mask); return;
    case 6: camera->setLines(mask); return;
    case 7:
        camera->setGain(static_cast<int>(dice.below(70)) - 3,
                        static_cast<int>(dice.below(530)) - 5);
        return;
    case 8: camera->abortExposure(); return;
    default: camera->setMode(static_cast<int>(dice.below(3)), dice.chance(0.5)); return;
    }
}

void RandomUser::changeParameter() {
    constexpr long kSizes[] = {512, 1024, 4096, 65536, 1 << 20, 1 << 22, 0x1800000};
    constexpr long kOddSizes[] = {511, 1000, 4095};
    switch (dice.below(6)) {
    case 0: camera->setParameter(QUICKER_START_EXPOSURE_DELAY, dice.below(300000)); return;
    case 1: camera->setParameter(QUICKER_READ_CCD_DELAY, dice.below(300000)); return;
    case 2: // no multiple of a packet: not for opening, which reads what is left byte by byte
        camera->setParameter(MAX_PACKET_SIZE, dice.pick(kOddSizes));
        exposeAndFetch();
        camera->setParameter(MAX_PACKET_SIZE, 1 << 20);
        return;
    default: camera->setParameter(MAX_PACKET_SIZE, dice.pick(kSizes)); return;
    }
}

std::unique_ptr<WatchedCamera> RandomUser::leave() {
    if (!camera)
        return nullptr;
    if (camera->isImagePending())
        fetch();
    camera->abortExposure();
    camera->close();
    return std::move(camera);
}

} // namespace tavo::soak
