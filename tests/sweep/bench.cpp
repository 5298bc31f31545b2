// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bench.h"

namespace tavo::sweep {
namespace {

using namespace tavo::test;

constexpr unsigned kSensorX = 16, kSensorY = 8;
// Replies and the parallel link: what waits there was asked for.
constexpr unsigned kAskedEndpoints[]{0x86, 0x88};
constexpr std::size_t kMostCalls = 100000;
constexpr long kUsualPacketSize = 25165824;

// Two records.
const Bytes kFirmware{2, 0x34, 0x12, 0xAA, 0xBB, 1, 0x00, 0x80, 0xCC, 0};

unsigned flagsOf(CAMERA_TYPE type) {
    switch (type) {
    case BASIN_CAMERA: return 0x0100;
    case RIDGE_CAMERA: return 0x1080; // shutter, guide port, filter wheel
    case HERON_CAMERA: return 0x05;   // guide port, precharge subtraction
    case GLINT_CAMERA: return 0;
    case LUMEN_CAMERA: return 0x1A00; // guide port, GPIO lines, 8-bit mode, filter wheel
    }
    return 0;
}

CameraScript scriptOf(CAMERA_TYPE type) {
    CameraScript script = healthyCamera(
        type, {.flags = flagsOf(type), .countX = kSensorX + 1, .countY = kSensorY + 1});
    script.reply(53, {2, 0, 0, 1, 2, 0, 0, 20});
    script.reply(56, type == LUMEN_CAMERA ? Bytes{0, 1} : Bytes{1, 0});
    script.reply(136, {1, 0});
    script.reply(141, {0, 88, 0, 0, 0, 5, 1, 1, 0, 88, 0, 0, 0, 9, 0, 0});
    return script;
}

CameraScript bareScriptOf(CAMERA_TYPE type) {
    const bool byCommands = type != HERON_CAMERA && type != GLINT_CAMERA;
    return healthyCamera(type, {.flags = byCommands ? 0x0100u : 0, // no guide port
                                .countX = kSensorX + 1,
                                .countY = kSensorY + 1,
                                .sensorCount = 0,
                                .coolerFlags = 0,
                                .gpioLines = 0});
}

Bytes pattern(std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<std::uint8_t>(7 * i + 1);
    return bytes;
}

} // namespace

Bench::Bench(CAMERA_TYPE type)
    : family(type), healthy(scriptOf(type)), bare(bareScriptOf(type)),
      handlesBefore(usb().openHandles()) {
    setFirmware(kFirmware);
    heal();
    driver = closedCamera(type);
}

Bench::~Bench() {
    usb().reset();
}

void Bench::heal() {
    occupied = false;
    play(healthy);
}

void Bench::strip() {
    play(bare);
}

void Bench::play(const CameraScript& script) {
    player = std::make_unique<LosingScript>(script);
    keepCalls();
    usb().countOnly(kMostCalls);
}

void Bench::mend() {
    usb().failCall(0, kInputOutputError);
    usb().countOnly(kMostCalls);
}

void Bench::keepCalls() {
    usb().reset();
    usb().respondWith(player.get());
    usb().answer(Call::kernelDriverActive, occupied ? 1 : 0);
}

void Bench::occupy() {
    occupied = true;
    usb().answer(Call::kernelDriverActive, 1);
}

void Bench::turnWheel() {
    constexpr unsigned kWheelStatus = 135;
    const Bytes moving{0, 5, 0, 1, 0, 2, 0, 3}, home{0, 5, 0, 0, 0, 2, 0, 2};
    if (family == LUMEN_CAMERA)
        player->replies(kWheelStatus, {moving, moving, home});
    else // the same the other way round
        player->replies(kWheelStatus,
                        {spaced({5, 1, 2, 3}), spaced({5, 1, 2, 3}), spaced({5, 0, 2, 2})});
}

void Bench::feedImage() {
    constexpr unsigned kGlintEndpoint = 0x81;
    constexpr std::size_t kEnough = 2 + 4 * (kSensorX + 1) * (kSensorY + 1);
    if (family == GLINT_CAMERA)
        player->feed(kGlintEndpoint, pattern(kSensorX * kSensorY));
    else
        player->feed(pattern(kEnough));
}

bool Bench::open() {
    const bool ok = driver->open();
    usualModes();
    return ok;
}

bool Bench::requestImage() {
    return driver->readCCD(0, 0, kWindow, kWindow, 1, 1, kShortExposure);
}

bool Bench::requestBinnedImage() {
    return driver->readCCD(0, 0, kBinnedWindow, kBinnedWindow, kBin, kBin, kShortExposure);
}

bool Bench::fetchImage(Image& image) {
    image.fill(0);
    feedImage();
    return driver->getImage(image.data(), kImagePixels);
}

void Bench::usualModes() {
    driver->set8BitMode(false);
    driver->setPreviewMode(false);
    driver->setDarkFrameMode(false);
    driver->setParam(MAX_PACKET_SIZE, kUsualPacketSize);
    peer().prechargeSubtraction() = family == HERON_CAMERA;
    if (family == GLINT_CAMERA) { // whose sensor is known and not asked
        peer().pixelCountX() = kSensorX;
        peer().pixelCountY() = kSensorY;
    }
}

std::size_t Bench::takeUnread() {
    std::size_t unread = 0;
    for (const unsigned endpoint : kAskedEndpoints)
        while (player->bulkIn(endpoint, 1).result == 0)
            ++unread;
    return unread;
}

bool Bench::handleIsOpen() const {
    return usb().openHandles() > handlesBefore;
}

} // namespace tavo::sweep
