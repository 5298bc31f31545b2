// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen_host.h"

#include <algorithm>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::uint8_t kSetStates = 1;
constexpr std::uint8_t kSetDirections = 2;

std::uint8_t high(unsigned value) {
    return static_cast<std::uint8_t>(value >> 8 & 0xFF);
}

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

// Of port 0 alone.
bool change(RawHost& host, std::uint8_t request, unsigned mask, unsigned value) {
    Bytes pairs{low(mask), low(value), 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0};
    if (request == kSetStates)
        pairs.resize(16);
    return host.request({request, 0, 0, 0, 0, 0, 0, 0}, pairs, 0).has_value();
}

std::size_t wordsOf(const LumenReadout& readout) {
    return std::size_t{1} * ((readout.width + readout.bin - 1U) / readout.bin) *
           (readout.height / readout.bin);
}

} // namespace

Model smallLumen() {
    Model model = modelOf(lumenModels(), "lumen-a");
    model.sensor.width = 320;
    model.sensor.height = 240;
    model.describedWidth = 320;
    model.describedHeight = 240;
    return model;
}

bool LumenHost::setLineDirection(unsigned line, bool output) {
    const unsigned bit = 1U << line;
    return change(*this, kSetDirections, ~bit, output ? bit : 0);
}

bool LumenHost::setLineState(unsigned line, bool level) {
    const unsigned bit = 1U << line;
    return change(*this, kSetStates, ~bit, level ? bit : 0);
}

bool LumenHost::initSerialPort() {
    return change(*this, kSetStates, 0x1F, 0x80) && change(*this, kSetDirections, 0x0F, 0xE0);
}

void LumenHost::reach() {
    release();
    loadTable(engineTable());
    loadTable(lumenTable());
    for (unsigned line = 0; line < 8; ++line)
        setLineDirection(line, line != 3 && line != 4);
    initSerialPort();
    setLineDirection(0, true);
    setLineState(0, false);
    setLinkTimeout(2000);
}

void LumenHost::startApplication() {
    send(44);
    for (int polls = 0; polls < 64; ++polls) {
        wait(0.01);
        if (exchange({0}) == Bytes{'I'})
            return;
    }
}

void LumenHost::bringUp() {
    reach();
    startApplication();
}

std::optional<Bytes> LumenHost::exchange(const Bytes& bytes) {
    return request({6, 0, 0, 2, 3, 0, 1, 0}, bytes, static_cast<std::uint32_t>(bytes.size()));
}

std::optional<Bytes> LumenHost::send(std::uint8_t number, const Bytes& arguments,
                                     std::size_t answerBytes) {
    Bytes packet{'C', 'M', 'D', number};
    packet.insert(packet.end(), arguments.begin(), arguments.end());
    const auto sent = static_cast<std::ptrdiff_t>(packet.size());
    packet.resize(packet.size() + answerBytes);
    const auto told = static_cast<std::ptrdiff_t>(log().size());
    const auto back = exchange(packet);
    if (!back || !std::equal(packet.begin(), packet.begin() + sent, back->begin()))
        return std::nullopt;
    const bool refused =
        std::any_of(log().begin() + told, log().end(), [](const std::string& line) {
            return line.find("sent back without an answer") != std::string::npos;
        });
    if (refused)
        return std::nullopt;
    return Bytes(back->begin() + sent, back->end());
}

bool LumenHost::beginExposure() {
    if (!send(2, {0, 0}) || !send(4))
        return false;
    wait(0.2);
    return send(5).has_value();
}

bool LumenHost::readOut(const LumenReadout& r) {
    return send(6, {high(r.code), low(r.code), 0, r.bin, 0, r.bin, high(r.x), low(r.x), high(r.y),
                    low(r.y), high(r.width), low(r.width), high(r.height), low(r.height), r.flags,
                    r.kind})
        .has_value();
}

std::vector<std::uint16_t> LumenHost::picture(double seconds, const LumenReadout& readout) {
    if (!beginExposure())
        return {};
    wait(seconds);
    return readOut(readout) ? fetch(wordsOf(readout)) : std::vector<std::uint16_t>{};
}

std::vector<std::uint16_t> LumenHost::timedPicture(std::uint16_t code, LumenReadout readout) {
    setLinkTimeout(30000);
    readout.code = code;
    readout.kind = 0x03;
    return readOut(readout) ? fetch(wordsOf(readout)) : std::vector<std::uint16_t>{};
}

Bytes engineTable() {
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

Bytes lumenTable() {
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
