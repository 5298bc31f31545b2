// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/exposure_test.h"

#include <bit>

namespace tavo::test::exposure {
namespace {

constexpr unsigned kDefaultTimeout = 30000;
constexpr std::uint8_t kBasinBusWrite = 0x80;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint8_t high(unsigned value) {
    return low(value >> 8);
}

Rows ridgeCommand(unsigned number, const Bytes& argument) {
    Bytes packet = joined({{'C', 0, 'M', 0, 'D', 0, low(number), 0}, argument});
    if (packet.size() % 2 != 0)
        packet.push_back(0);
    return parallelOut(packet);
}

Rows basinCommand(unsigned number, const Bytes& argument) {
    const Bytes payload = joined({{kBasinBusWrite, 'V', 'R', 'Q', low(number)}, argument});
    return framedExchange({.code = 4, .flag = true, .b = 1, .payload = payload}, {});
}

Rows lumenCommand(unsigned number, const Bytes& argument, const Bytes& answer) {
    const Bytes lead = joined({{'C', 'M', 'D', low(number)}, argument});
    const Bytes packet = joined({lead, Bytes(answer.size())});
    return framedExchange({.code = 6, .subCode = 2, .a = 3, .b = 1, .payload = packet},
                          joined({lead, answer}));
}

} // namespace

std::unique_ptr<TavoCameraImpl> idleCamera(CAMERA_TYPE type) {
    auto camera = openedCamera(type);
    CameraPeer peer(*camera);
    peer.pixelCountX() = 100;
    peer.pixelCountY() = 80;
    peer.maxBinX() = 4;
    peer.maxBinY() = 3;
    markLastError(*camera);
    return camera;
}

std::unique_ptr<TavoCameraImpl> exposingCamera(CAMERA_TYPE type) {
    auto camera = idleCamera(type);
    CameraPeer(*camera).exposureStarted() = true;
    return camera;
}

std::unique_ptr<TavoCameraImpl> pendingCamera(CAMERA_TYPE type, const Window& window) {
    auto camera = idleCamera(type);
    CameraPeer peer(*camera);
    peer.readX() = window.x;
    peer.readY() = window.y;
    peer.readWidth() = window.width;
    peer.readHeight() = window.height;
    peer.readXBin() = window.binX;
    peer.readYBin() = window.binY;
    peer.readoutPending() = true;
    peer.mutex().tryAcquire();
    return camera;
}

bool readCCD(TavoCamera& camera, const Window& window) {
    return camera.readCCD(window.x, window.y, window.width, window.height, window.binX,
                          window.binY);
}

bool readCCD(TavoCamera& camera, const Window& window, double seconds) {
    return camera.readCCD(window.x, window.y, window.width, window.height, window.binX, window.binY,
                          seconds);
}

Rows command(CAMERA_TYPE type, unsigned number, const Bytes& argument, const Bytes& answer) {
    if (type == RIDGE_CAMERA)
        return ridgeCommand(number, argument);
    return type == BASIN_CAMERA ? basinCommand(number, argument)
                                : lumenCommand(number, argument, answer);
}

Rows commandValue(CAMERA_TYPE type, unsigned number, unsigned value) {
    return type == LUMEN_CAMERA ? command(type, number, {high(value), low(value)})
                                : command(type, number, {low(value), high(value)});
}

Rows kernelPing(const Bytes& answer) {
    return command(LUMEN_CAMERA, 253, {0x00, 0x7B}, answer);
}

Rows applicationPing(const Bytes& answer) {
    return command(LUMEN_CAMERA, 80, {0x00, 0x7B}, answer);
}

Rows lumenPing() {
    return together({kernelPing(), applicationPing()});
}

Rows spi(unsigned target, unsigned value) {
    const unsigned word = target << 12 | value;
    return framedExchange({.code = 6, .subCode = 1, .b = 1, .payload = {high(word), low(word)}},
                          {0x55, 0xAA});
}

Rows parallelTimeout(unsigned timeout) {
    return framedExchange({.code = 12, .a = timeout}, {});
}

Rows lines(std::uint8_t firstPort) {
    return framedExchange({.code = 3}, {firstPort, 0, 0, 0, 0});
}

Row registerWrite(unsigned offset, std::uint32_t value) {
    return controlOut(0x7F, offset, 0xF0F0,
                      {low(value), low(value >> 8), low(value >> 16), low(value >> 24)});
}

Row registerWrite(unsigned offset, float value) {
    return registerWrite(offset, std::bit_cast<std::uint32_t>(value));
}

Bytes words(std::initializer_list<unsigned> values) {
    Bytes bytes;
    for (const unsigned value : values) {
        bytes.push_back(low(value));
        bytes.push_back(high(value));
    }
    return bytes;
}

Rows endingIn(Rows rows, int error) {
    rows.back() = rows.back().failing(error);
    return rows;
}

Rows refused(const Rows& rows, int error) {
    return {rows.front().failing(error)};
}

void converse(std::initializer_list<Rows> parts) {
    Rows rows = together(parts);
    for (Row& row : rows) {
        if (row.call == Call::bulkOut || row.call == Call::bulkIn)
            row.timeout = kDefaultTimeout;
    }
    usb().expect(std::move(rows));
}

void expectState(TavoCameraImpl& camera, const Expected& expected) {
    CameraPeer peer(camera);
    EXPECT_EQ(peer.exposureStarted(), expected.exposing) << "exposureStarted";
    EXPECT_EQ(peer.readoutPending(), expected.pending) << "readoutPending";
    EXPECT_EQ(peer.lockIsFree(), expected.lockFree) << "lock free";
}

void expectRefused(TavoCamera& camera, bool result, const std::string& text) {
    EXPECT_FALSE(result);
    EXPECT_EQ(camera.getLastError(), text);
}

Lines ownLines(const CapturedTrace& trace) {
    constexpr std::size_t kInside = 4;
    Lines own;
    for (const std::string& line : trace.lines()) {
        const std::size_t indentation = line.find_first_not_of(' ');
        if (indentation == 0 || indentation == kInside)
            own.push_back(line);
    }
    return own;
}

void markLastError(TavoCameraImpl& camera) {
    CameraPeer(camera).lastError() = kUntouched;
}

} // namespace tavo::test::exposure
