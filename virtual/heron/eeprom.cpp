// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the memory of the Heron cameras holds: all that a host learns of them.
#include "heron.h"

#include "../controller/bytes.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace tavo::virtualcamera {

namespace {

constexpr std::size_t kProductId = 3;
constexpr std::size_t kFrontEnd = 10;
constexpr std::size_t kDescription = 42;
constexpr std::size_t kDescriptionBytes = 64;

// Every model of the family carries one of the first two models' ids, by which a host knows that
// the memory can be read.
constexpr std::uint16_t kFirstModel = 0xDF2E;
constexpr std::uint16_t kSecondModel = 0xDF2F;
constexpr std::uint16_t kErased = 0xFFFF;

constexpr unsigned kHasGuidePort = 0x01;
constexpr unsigned kTwoSamples = 0x04;

constexpr double kTenths = 10.0;
constexpr double kOffsetUnit = 32.0;

void appendText(std::vector<std::uint8_t>& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
}

std::uint8_t tenths(double micrometres) {
    return lowByte(static_cast<std::uint32_t>(std::lround(micrometres * kTenths)));
}

std::vector<std::uint8_t> description(const Model& model) {
    // Leaves room for the other fields.
    constexpr std::size_t kNameLimit = 46;
    std::vector<std::uint8_t> bytes{model.versionMinor, model.versionMajor};
    appendText(bytes, model.name.substr(0, kNameLimit));
    appendText(bytes, "Tavo");
    bytes.push_back(lowByte((model.hasGuidePort ? kHasGuidePort : 0) |
                            (model.samplesPerPixel == 2 ? kTwoSamples : 0)));
    appendU16le(bytes, model.describedWidth);
    appendU16le(bytes, model.describedHeight);
    bytes.push_back(tenths(model.sensor.pixelWidth));
    bytes.push_back(tenths(model.sensor.pixelHeight));
    bytes.push_back(lowByte(model.maxBin));
    bytes.push_back(lowByte(model.maxBin));
    bytes.push_back(
        lowByte(static_cast<std::uint32_t>(std::lround(model.sensor.bias / kOffsetUnit))));
    return bytes;
}

} // namespace

// Configuration, channels, three gains and three offsets.
FrontEnd::Words heronFrontEndWords(const Model& model) {
    const std::uint16_t configuration = model.samplesPerPixel == 2 ? 0x00D8 : 0x00C8;
    return {configuration, 0x10C0, 0x2015, 0x3000, 0x4000, 0x5123, 0x6000, 0x7000};
}

void HeronHead::writeEeprom(Eeprom::Image& image) const {
    const std::uint16_t id = !model.answersPing                ? kErased
                             : model.productId == kSecondModel ? kSecondModel
                                                               : kFirstModel;
    image[kProductId] = lowByte(id);
    image[kProductId + 1] = highByte(id);
    std::size_t place = kFrontEnd;
    for (const std::uint16_t word : heronFrontEndWords(model)) {
        image[place++] = highByte(word);
        image[place++] = lowByte(word);
    }
    const std::vector<std::uint8_t> fields = description(model);
    std::copy_n(fields.begin(), std::min(fields.size(), kDescriptionBytes),
                image.begin() + kDescription);
}

} // namespace tavo::virtualcamera
