// SPDX-License-Identifier: LGPL-2.1-or-later
#include "basin_host.h"

#include "basin/basin.h"

namespace tavo::virtualcamera::test {

namespace {

void appendWord(Bytes& bytes, unsigned value) {
    bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8 & 0xFF));
}

} // namespace

Model smallBasin() {
    Model model = modelOf(basinModels(), "basin-a");
    model.sensor.width = 320;
    model.sensor.height = 240;
    model.describedWidth = 321;
    model.describedHeight = 241;
    return model;
}

BasinHost::BasinHost(const Model& model, double speed)
    : RawHost(model, makeBasinElectronics, speed) {}

void BasinHost::startLink() {
    start();
    setI2cTimeout(100);
    setLinkTimeout(1000);
    loadTable(basinModeTable());
    loadTable(basinHandshakeTable());
}

void BasinHost::bringUp() {
    startLink();
    send(44);
    while (true) {
        const auto status = linkRead(2);
        if (!status || status->front() == 'I')
            return;
    }
}

bool BasinHost::send(std::uint8_t number, const Bytes& arguments) {
    Bytes payload{0x80, 'V', 'R', 'Q', number};
    payload.insert(payload.end(), arguments.begin(), arguments.end());
    return request({4, 0, 0xFF, 0, 0, 0, 1, 0}, payload, 0).has_value();
}

std::optional<Bytes> BasinHost::readPlain(std::uint32_t length) {
    const auto received = linkRead(length);
    if (!received)
        return std::nullopt;
    Bytes plain;
    for (std::size_t i = 0; i < received->size(); i += 2)
        plain.push_back((*received)[i]);
    return plain;
}

std::optional<Bytes> BasinHost::query(std::uint8_t number, const Bytes& arguments,
                                      std::uint32_t reply) {
    return send(number, arguments) ? readPlain(reply) : std::nullopt;
}

void BasinHost::startExposure() {
    send(2, {0, 0});
    send(4);
    send(5);
}

void BasinHost::endExposure() {
    send(66);
    wait(2.0);
    send(2, {1, 0});
}

bool BasinHost::readOut(std::uint8_t code, std::uint8_t bin, const Region& region,
                        std::uint8_t preview) {
    Bytes arguments{code, bin, bin};
    appendWord(arguments, region.x + 1U);
    appendWord(arguments, region.y + 1U);
    appendWord(arguments, region.x + region.width + 1U);
    appendWord(arguments, region.y + region.height + 1U);
    arguments.insert(arguments.end(), {preview, 3});
    return send(6, arguments);
}

std::vector<std::uint16_t> BasinHost::image(double seconds, std::uint8_t bin,
                                            const Region& region) {
    startExposure();
    wait(seconds - 2.0);
    endExposure();
    readOut(0, bin, region);
    return fetch(std::size_t{region.width} / bin * (region.height / bin));
}

std::vector<std::uint16_t> BasinHost::timedImage(std::uint8_t code, const Region& region) {
    readOut(code, 1, region);
    wait(code <= 9 ? code * 0.001 : (code - 9) * 0.01);
    return fetch(std::size_t{region.width} * region.height);
}

Bytes basinModeTable() {
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

Bytes basinHandshakeTable() {
    return hexBytes("01 e2 ff 20 00 00 fb e4 11 01 02 00 04 00 00 00 "
                    "0e 01 01 3f 01 01 00 07 01 00 00 03 00 00 01 00 "
                    "fb f9 fb fb fb fb fb fb 00 00 00 80 00 00 80 3f "
                    "08 01 01 3f 01 01 01 07 03 02 02 05 00 00 00 00 "
                    "ff fd fd ff ff ff ff fb 09 00 00 80 00 00 00 3f "
                    "0e 01 01 3f 01 01 00 07 01 00 00 03 00 00 01 00 "
                    "fb f9 fb fb fb fb fb fb 00 00 00 80 00 00 80 3f "
                    "08 01 01 3f 01 01 01 07 03 02 02 05 00 00 00 00 "
                    "ff fd fd ff ff ff ff fb 09 00 00 80 00 00 00 3f "
                    "00 00 00 00 00 00 00 00 ");
}

} // namespace tavo::virtualcamera::test
