// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron_host.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tavo::virtualcamera::test {

namespace {

Bytes forPort0(std::uint8_t mask, std::uint8_t value, std::size_t length) {
    Bytes pairs{mask, value, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0};
    pairs.resize(length);
    return pairs;
}

std::uint8_t maskOf(unsigned line) {
    return static_cast<std::uint8_t>(0xFF ^ 1U << line);
}

std::uint8_t bitOf(unsigned line, bool set) {
    return static_cast<std::uint8_t>(set ? 1U << line : 0U);
}

} // namespace

Model smallHeron() {
    Model model = modelOf(heronModels(), "heron-a");
    model.sensor.width = 320;
    model.sensor.height = 240;
    model.describedWidth = 320;
    model.describedHeight = 240;
    return model;
}

Model singleSampledHeron() {
    Model model = smallHeron();
    model.samplesPerPixel = 1;
    return model;
}

HeronHost::HeronHost(const Model& model, double speed)
    : RawHost(model, makeHeronElectronics, speed) {}

bool HeronHost::setDirections(std::uint8_t mask, std::uint8_t value) {
    return request({2, 0, 0, 0, 0, 0, 0, 0}, forPort0(mask, value, 10), 0).has_value();
}

bool HeronHost::setStates(std::uint8_t mask, std::uint8_t value) {
    return request({1, 0, 0, 0, 0, 0, 0, 0}, forPort0(mask, value, 16), 0).has_value();
}

bool HeronHost::setDirection(unsigned line, bool output) {
    return setDirections(maskOf(line), bitOf(line, output));
}

bool HeronHost::setState(unsigned line, bool level) {
    return setStates(maskOf(line), bitOf(line, level));
}

void HeronHost::prepareController() {
    release();
    setDirections(0x00, 0x9F);
    setStates(0x00, 0x80);
    setI2cTimeout(50);
    setLinkTimeout(50);
}

bool HeronHost::loadTables() {
    return loadTable(flowStateTable()) && loadTable(slowLinkTable());
}

void HeronHost::prepareLines() {
    constexpr bool kOutput[] = {true, true, true, false, false, true, true, true};
    for (unsigned line = 0; line < 8; ++line)
        setDirection(line, kOutput[line]);
}

void HeronHost::prepareSerialPath() {
    setStates(0x1F, 0xC0);
    setDirections(0x0F, 0xE0);
}

void HeronHost::pulseReset() {
    setState(1, true);
    setState(1, false);
}

std::vector<std::uint16_t> HeronHost::frontEndWords() {
    const Bytes bytes = readEeprom(10, 16).value_or(Bytes(16));
    std::vector<std::uint16_t> words;
    for (std::size_t i = 0; i < 16; i += 2)
        words.push_back(static_cast<std::uint16_t>(bytes[i] << 8 | bytes[i + 1]));
    return words;
}

void HeronHost::programFrontEnd(const std::vector<std::uint16_t>& words) {
    for (const std::uint16_t word : words) {
        setState(6, false);
        setState(2, false);
        for (int bit = 15; bit >= 0; --bit) {
            setState(5, (word >> bit & 1) != 0);
            setState(6, true);
            setState(6, false);
        }
        setState(2, true);
    }
}

void HeronHost::bringUp() {
    prepareController();
    loadTables();
    prepareLines();
    prepareSerialPath();
    pulseReset();
    setState(2, true);
    setLinkTimeout(30000);
    programFrontEnd(frontEndWords());
}

std::optional<Bytes> HeronHost::write(unsigned number, unsigned value) {
    return request(
        {6, 0, 0, 1, 0, 0, 1, 0},
        {static_cast<std::uint8_t>(number << 4 | value >> 8), static_cast<std::uint8_t>(value)}, 2);
}

bool HeronHost::busy() {
    const auto levels = request({3, 0, 0, 0, 0, 0, 0, 0}, {}, 5);
    return levels && ((*levels)[0] & 0x10) != 0;
}

void HeronHost::expose(double seconds, unsigned relays) {
    write(2, 0x400 | relays);
    write(5, 0);
    wait(0.2);
    write(2, 0x200 | relays);
    write(5, 0);
    wait(seconds);
}

void HeronHost::setBinning(unsigned x, unsigned y) {
    write(8, (y - 1) << 8 | (x - 1) << 4);
    write(8, (y - 1) << 8 | (x - 1) << 4);
}

void HeronHost::readOut(unsigned relays) {
    write(2, 0x4A0 | relays);
    write(5, 1000);
}

void HeronHost::readOutTimed(unsigned code) {
    write(2, 0x7A0);
    write(5, code);
}

std::vector<std::uint16_t> HeronHost::fetchWords(std::size_t words) {
    while (busy())
        wait(0.005);
    return linkRead(2) ? fetch(words) : std::vector<std::uint16_t>{};
}

std::vector<std::uint16_t> HeronHost::fetchDifferences(std::size_t pixels) {
    constexpr int kOffset = 31 * 32;
    const auto words = fetchWords(2 * pixels);
    std::vector<std::uint16_t> image;
    for (std::size_t i = 0; i + 1 < words.size(); i += 2)
        image.push_back(static_cast<std::uint16_t>(
            std::clamp(kOffset + 2 * (words[i + 1] - words[i]), 0, 65535)));
    return image;
}

std::vector<std::uint16_t> HeronHost::frame(double seconds, std::size_t pixels) {
    expose(seconds);
    setBinning(1, 1);
    readOut();
    return fetchDifferences(pixels);
}

double median(std::vector<std::uint16_t> pixels) {
    if (pixels.empty())
        return 0.0;
    const auto middle = pixels.begin() + static_cast<std::ptrdiff_t>(pixels.size() / 2);
    std::nth_element(pixels.begin(), middle, pixels.end());
    return *middle;
}

double difference(const std::vector<std::uint16_t>& one, const std::vector<std::uint16_t>& other) {
    if (one.size() != other.size() || one.empty())
        return 1e9;
    double sum = 0.0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += (one[i] - other[i]) * static_cast<double>(one[i] - other[i]);
    return std::sqrt(sum / static_cast<double>(one.size()));
}

Bytes flowStateTable() {
    return hexBytes("81 ee 00 e0 00 00 07 4e 00 00 00 00 00 00 00 00 "
                    "01 01 01 01 01 01 01 07 00 00 00 00 00 00 00 00 "
                    "07 07 07 07 07 07 07 07 00 00 00 00 00 00 00 3f "
                    "01 01 01 01 01 01 01 07 00 00 00 00 00 00 00 00 "
                    "07 07 07 07 07 07 07 07 00 00 00 00 00 00 00 3f "
                    "01 01 01 3b 01 01 01 07 00 00 00 03 02 02 02 00 "
                    "07 03 01 07 07 07 07 07 00 00 00 2d 00 00 00 3f "
                    "01 39 01 01 01 01 01 07 00 03 02 02 02 02 02 00 "
                    "07 07 07 07 07 07 07 07 00 2d 00 00 00 00 00 3f "
                    "00 00 00 00 00 00 00 00 00 00 83 00 13 11 00 24 "
                    "03 02 01 81 09 17 16 00 24 03 02 01 ");
}

Bytes slowLinkTable() {
    return hexBytes("01 e2 ff 20 00 00 fb e4 11 01 02 00 04 00 00 00 "
                    "0e 01 3f 01 01 01 00 07 01 00 03 00 00 00 01 00 "
                    "fb f9 fb fb fb fb fb fb 00 00 80 00 00 00 80 3f "
                    "08 01 01 3f 01 01 01 07 03 02 02 05 00 00 00 00 "
                    "ff fd fd ff ff ff ff fb 09 00 00 80 00 00 00 3f "
                    "0e 01 3f 01 01 01 00 07 01 00 03 00 00 00 01 00 "
                    "fb f9 fb fb fb fb fb fb 00 00 80 00 00 00 80 3f "
                    "08 01 01 3f 01 01 01 07 03 02 02 05 00 00 00 00 "
                    "ff fd fd ff ff ff ff fb 09 00 00 80 00 00 00 3f "
                    "00 00 00 00 00 00 00 00 ");
}

} // namespace tavo::virtualcamera::test
