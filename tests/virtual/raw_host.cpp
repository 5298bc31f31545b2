// SPDX-License-Identifier: LGPL-2.1-or-later
#include "raw_host.h"

#include <algorithm>
#include <cmath>

namespace tavo::virtualcamera::test {

namespace {

std::uint8_t byteOf(std::size_t value, int index) {
    return static_cast<std::uint8_t>(value >> (8 * index) & 0xFF);
}

} // namespace

Bytes hexBytes(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 3)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

Model modelOf(std::span<const Model> models, const std::string& key) {
    return *std::find_if(models.begin(), models.end(),
                         [&](const Model& model) { return model.key == key; });
}

Model smallRidge() {
    Model model = modelOf(ridgeModels(), "ridge-c");
    model.sensor.width = 320;
    model.sensor.height = 240;
    model.describedWidth = 320;
    model.describedHeight = 240;
    return model;
}

RawHost::RawHost(const Model& model, MakeElectronics makeElectronics, double speed)
    : clock(std::make_shared<ManualClock>(speed)),
      camera(assembleControllerCamera(
          model, clock, [this](const std::string& line) { lines.push_back(line); },
          makeElectronics)) {}

bool RawHost::logged(const std::string& part) const {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

void RawHost::wait(double seconds) {
    clock->advance(static_cast<Microseconds>(std::llround(seconds * 1000000.0)));
}

Outcome RawHost::writeMemory(std::uint16_t address, const Bytes& data) {
    return camera->controlOut({0x40, 0xA0, address, 0, static_cast<std::uint16_t>(data.size())},
                              data);
}

void RawHost::release() {
    camera->setAlternateSetting(0, 1);
    writeMemory(0xE600, {1});
    writeMemory(0xE600, {0});
}

void RawHost::start() {
    release();
    setPort0(0x9F, 0x80);
    setI2cTimeout(50);
}

bool RawHost::setPort0(std::uint8_t directions, std::uint8_t states) {
    return request({2, 0, 0, 0, 0, 0, 0, 0}, {0x00, directions, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0},
                   0) &&
           request({1, 0, 0, 0, 0, 0, 0, 0},
                   {0x00, states, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0}, 0);
}

bool RawHost::setLinkTimeout(std::uint16_t milliseconds) {
    return request({12, 0, 0, 0, byteOf(milliseconds, 0), byteOf(milliseconds, 1), 0, 0}, {}, 0)
        .has_value();
}

bool RawHost::setI2cTimeout(std::uint16_t milliseconds) {
    return request({12, 0, 0, 1, byteOf(milliseconds, 0), byteOf(milliseconds, 1), 0, 0}, {}, 0)
        .has_value();
}

void RawHost::bringUp() {
    start();
    setLinkTimeout(1000);
    loadTable(ridgeTable());
    command(44);
    while (true) {
        const auto status = linkRead(2);
        if (!status || status->front() == 'I')
            return;
    }
}

std::optional<Bytes> RawHost::request(const Bytes& header, const Bytes& payload,
                                      std::uint32_t reply) {
    Bytes frame = header;
    frame[1] = transaction++;
    for (int i = 0; i < 4; ++i)
        frame.push_back(byteOf(reply, i));
    for (int i = 0; i < 4; ++i)
        frame.push_back(byteOf(payload.size(), i));
    frame.insert(frame.end(), payload.begin(), payload.end());
    if (camera->bulkOut(0x04, frame) != Outcome::done)
        return std::nullopt;
    if (reply == 0 && header[2] == 0)
        return Bytes{};
    const Reply answer = camera->bulkIn(0x86, reply + 4);
    if (answer.outcome != Outcome::done || answer.data.size() != reply + 4)
        return std::nullopt;
    return Bytes(answer.data.begin() + 1, answer.data.end() - 3);
}

bool RawHost::loadTable(const Bytes& table) {
    return request({8, 0, 0xFF, 0, 0, 0, 0, 0}, table, 0).has_value();
}

std::optional<Bytes> RawHost::readEeprom(std::uint8_t address, std::uint8_t length) {
    if (!request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA2, 0x00, address}, 0))
        return std::nullopt;
    return request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, length);
}

bool RawHost::command(std::uint8_t number, const Bytes& arguments) {
    Bytes packet{'C', 0, 'M', 0, 'D', 0, number, 0};
    packet.insert(packet.end(), arguments.begin(), arguments.end());
    if (packet.size() % 2 != 0)
        packet.push_back(0);
    return camera->bulkOut(0x02, packet) == Outcome::done &&
           request({10, 0, 0xFF, 0, 0, 0, 0, 0}, {}, 0).has_value();
}

std::optional<Bytes> RawHost::linkRead(std::uint32_t length) {
    if (!request({9, 0, 0, 0, byteOf(length, 2), byteOf(length, 3), byteOf(length, 0),
                  byteOf(length, 1)},
                 {}, 0))
        return std::nullopt;
    Bytes bytes;
    while (bytes.size() < length + 1) {
        const Reply reply =
            camera->bulkIn(0x88, length + 1 - static_cast<std::uint32_t>(bytes.size()));
        bytes.insert(bytes.end(), reply.data.begin(), reply.data.end());
        const auto wake = camera->wakeIn();
        if (reply.outcome == Outcome::stalled || (reply.outcome == Outcome::nothing && !wake))
            return std::nullopt;
        if (reply.outcome == Outcome::nothing)
            clock->advance(std::max<Microseconds>(*wake, 1));
    }
    bytes.pop_back();
    return bytes;
}

std::optional<Bytes> RawHost::ask(std::uint8_t number, const Bytes& arguments,
                                  std::uint32_t reply) {
    return command(number, arguments) ? linkRead(reply) : std::nullopt;
}

void RawHost::expose(double seconds, bool openShutter) {
    command(2, {0, 0});
    command(4);
    command(5);
    command(9, {static_cast<std::uint8_t>(openShutter ? 1 : 0), 0});
    wait(seconds);
    command(2, {1, 0});
    command(9, {0, 0});
}

bool RawHost::readOutCommand(std::uint16_t code, std::uint16_t bin, std::uint16_t x,
                             std::uint16_t y, std::uint16_t width, std::uint16_t height,
                             std::uint16_t flags) {
    Bytes arguments;
    for (const std::uint16_t word : {code, bin, bin, x, y, width, height, flags}) {
        arguments.push_back(byteOf(word, 0));
        arguments.push_back(byteOf(word, 1));
    }
    return command(6, arguments);
}

std::vector<std::uint16_t> RawHost::fetch(std::size_t pixels) {
    const auto bytes = linkRead(static_cast<std::uint32_t>(2 * pixels));
    std::vector<std::uint16_t> image;
    for (std::size_t i = 0; bytes && i < pixels; ++i)
        image.push_back(static_cast<std::uint16_t>((*bytes)[2 * i] | (*bytes)[2 * i + 1] << 8));
    return image;
}

std::vector<std::uint16_t> RawHost::image(double seconds, bool openShutter, std::uint16_t bin,
                                          std::uint16_t x, std::uint16_t y, std::uint16_t width,
                                          std::uint16_t height) {
    expose(seconds, openShutter);
    readOutCommand(0, bin, x, y, width, height);
    return fetch(std::size_t{width} / bin * (height / bin));
}

Bytes ridgeTable() {
    return hexBytes("01 ee ff 80 00 00 ff e4 11 01 02 00 04 00 00 00 "
                    "01 0a 01 3b 01 01 01 07 00 01 02 01 00 00 10 00 "
                    "fc fc fd fd fd fd fd ff 00 00 12 00 00 2d 12 3f "
                    "01 0a 01 3b 01 01 01 07 02 03 02 05 00 00 00 00 "
                    "fe fe ff ff ff ff ff ff 09 00 00 00 00 2d 36 3f "
                    "0e 03 01 3f 01 01 36 07 01 00 02 01 00 00 11 00 "
                    "ff fe fe fe ff ff ff ff 00 09 12 12 00 2d 12 3f "
                    "08 03 01 3f 01 01 01 07 01 02 00 01 00 00 00 00 "
                    "ff fd ff ff ff ff ff ff 09 09 12 12 00 2d 36 3f "
                    "00 00 00 00 00 00 00 00 ");
}

double mean(const std::vector<std::uint16_t>& pixels) {
    double sum = 0.0;
    for (const std::uint16_t pixel : pixels)
        sum += pixel;
    return sum / static_cast<double>(pixels.size());
}

double deviation(const std::vector<std::uint16_t>& pixels) {
    const double middle = mean(pixels);
    double sum = 0.0;
    for (const std::uint16_t pixel : pixels)
        sum += (pixel - middle) * (pixel - middle);
    return std::sqrt(sum / static_cast<double>(pixels.size()));
}

} // namespace tavo::virtualcamera::test
