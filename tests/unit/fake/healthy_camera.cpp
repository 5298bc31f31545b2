// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How each family lays out what a camera says of itself.
#include "fake/camera_script.h"

namespace tavo::test {
namespace {

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}
std::uint8_t high(unsigned value) {
    return low(value >> 8);
}

Bytes bigEndian(unsigned value) {
    return {high(value), low(value)};
}
Bytes littleEndian(unsigned value) {
    return {low(value), high(value)};
}

Bytes characters(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

Bytes wideCharacters(const std::string& text) {
    Bytes bytes;
    for (const std::uint8_t byte : characters(text)) {
        bytes.push_back(0);
        bytes.push_back(byte);
    }
    return bytes;
}

void fillEeprom(CameraScript& script, const Description& says, unsigned productId) {
    script.eeprom[3] = low(productId);
    script.eeprom[4] = high(productId);
    script.eeprom[5] = low(says.serial);
    script.eeprom[6] = high(says.serial);
    script.eeprom[8] = low(says.serial >> 16);
    script.eeprom[9] = low(says.serial >> 24);
    if (says.bayer) {
        const Bytes marker{0x84, 0xD9, 0x01, low(*says.bayer), 0};
        std::copy(marker.begin(), marker.end(), script.eeprom.begin() + 232);
    }
}

// BASIN and RIDGE: field by field; a value has 4 bytes or 2.
void describeByFields(CameraScript& script, const Description& says, CAMERA_TYPE type) {
    const bool basin = type == BASIN_CAMERA;
    Bytes all = joined({{low(says.versionMinor), 0, low(says.versionMajor), 0},
                        spaced(characters(says.model)),
                        spaced(characters(says.maker))});
    for (const unsigned value : {says.flags, says.countX, says.countY, says.sizeX, says.sizeY,
                                 says.maxBinX, says.maxBinY, says.wellCapacity}) {
        const Bytes field = basin ? spaced(littleEndian(value)) : littleEndian(value);
        all.insert(all.end(), field.begin(), field.end());
    }
    script.reply(basin ? 10 : 1, all);
    script.reply(54, spaced({low(says.sensorCount)}));
    script.reply(52, spaced({low(says.coolerFlags), low(says.maxPower), low(says.minPower)}));
    script.reply(55, basin ? spaced({1, 0x00, 0x01}) : Bytes{1, 0, 0x00, 0x01, 0, 0});
    script.reply(135, spaced({5, 0, 2, 2}));
}

void describeLumen(CameraScript& script, const Description& says) {
    Bytes all = joined({bigEndian(says.versionMinor), bigEndian(says.versionMajor),
                        wideCharacters(says.model), wideCharacters(says.maker)});
    for (const unsigned value : {says.flags, says.countX, says.countY, says.sizeX, says.sizeY,
                                 says.maxBinX, says.maxBinY, says.wellCapacity})
        all = joined({all, bigEndian(value)});
    all.resize(128);
    script.reply(1, all);
    script.reply(145, bigEndian(says.clearTime));
    script.reply(54, bigEndian(says.sensorCount));
    script.reply(55, {0, 1, 0x01, 0x00, 0, 0});
    script.reply(52, joined({bigEndian(says.coolerFlags), bigEndian(says.maxPower),
                             bigEndian(says.minPower)}));
    script.reply(130, joined({bigEndian(says.gpioLines), {0, 0}}));
    script.reply(62, joined({{0, 0, 0, 0}, bigEndian(says.serial)}));
    script.reply(135, {0, 5, 0, 0, 0, 2, 0, 2});
}

void describeHeron(CameraScript& script, const Description& says) {
    const Bytes all =
        joined({{low(says.versionMinor), low(says.versionMajor)},
                characters(says.model),
                characters(says.maker),
                {low(says.flags)},
                littleEndian(says.countX),
                littleEndian(says.countY),
                {low(says.sizeX / 10), low(says.sizeY / 10), low(says.maxBinX), low(says.maxBinY)},
                {static_cast<std::uint8_t>(says.precharge)}});
    std::copy(all.begin(), all.end(), script.eeprom.begin() + 42);
}

} // namespace

CameraScript healthyCamera(CAMERA_TYPE type, const Description& says) {
    CameraScript script(type);
    switch (type) {
    case BASIN_CAMERA:
        fillEeprom(script, says, says.productId.value_or(0xDF28));
        describeByFields(script, says, type);
        break;
    case RIDGE_CAMERA:
        fillEeprom(script, says, says.productId.value_or(0xDF2C));
        describeByFields(script, says, type);
        break;
    case HERON_CAMERA:
        fillEeprom(script, says, says.productId.value_or(0xDF2E));
        describeHeron(script, says);
        break;
    case GLINT_CAMERA:
        script.registers[0x1F60] = says.versionMajor << 24 | says.versionMinor << 16;
        script.registers[0x1F20] = says.serial;
        break;
    case LUMEN_CAMERA:
        fillEeprom(script, says, says.productId.value_or(0xDF3B));
        describeLumen(script, says);
        break;
    }
    return script;
}

} // namespace tavo::test
