// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usb_descriptors.h"

#include "bytes.h"

#include <array>

namespace tavo::virtualcamera {

using virtualusb::Bytes;
using virtualusb::Outcome;
using virtualusb::Reply;
using virtualusb::SetupPacket;

namespace {

// Made up; hosts of these cameras look at the product id alone.
constexpr std::uint16_t kVendorId = 0x7A1D;
constexpr std::uint8_t kVendorSpecific = 0xFF;
constexpr std::uint16_t kBulkPacket = 512; // high speed
constexpr std::uint16_t kLanguage = 0x0409;

constexpr std::uint8_t kStandardIn = 0x80;
constexpr std::uint8_t kGetDescriptor = 6;
constexpr std::uint8_t kString = 3;

void appendInterface(Bytes& bytes, std::uint8_t setting, Pipes pipes) {
    bytes.insert(bytes.end(), {9, 4, 0, setting, static_cast<std::uint8_t>(pipes.size()),
                               kVendorSpecific, kVendorSpecific, kVendorSpecific, 0});
    for (const std::uint8_t pipe : pipes) {
        bytes.insert(bytes.end(), {7, 5, pipe, 2});
        appendU16le(bytes, kBulkPacket);
        bytes.push_back(0);
    }
}

Bytes stringDescriptor(const std::string& text) {
    Bytes bytes{lowByte(static_cast<std::uint32_t>(2 + 2 * text.size())), 3};
    for (const char character : text)
        appendU16le(bytes, static_cast<unsigned char>(character));
    return bytes;
}

Bytes text(const UsbIdentity& identity, std::uint8_t index) {
    switch (index) {
    case 0: return {4, 3, lowByte(kLanguage), highByte(kLanguage)};
    case 1: return stringDescriptor("Tavo");
    case 2: return stringDescriptor(identity.product);
    default: return {};
    }
}

} // namespace

Bytes deviceDescriptor(const UsbIdentity& identity) {
    Bytes bytes{18, 1, 0x00, 0x02, kVendorSpecific, kVendorSpecific, kVendorSpecific, 64};
    appendU16le(bytes, kVendorId);
    appendU16le(bytes, identity.productId);
    bytes.insert(bytes.end(), {0x00, 0x01, 1, 2, 0, 1});
    return bytes;
}

Bytes configurationDescriptor(std::span<const Pipes> settings) {
    constexpr std::uint8_t kSelfPowered = 0xC0;
    Bytes bytes{9, 2, 0, 0, 1, 1, 0, kSelfPowered, 0};
    std::uint8_t setting = 0;
    for (const Pipes pipes : settings)
        appendInterface(bytes, setting++, pipes);
    bytes[2] = lowByte(static_cast<std::uint32_t>(bytes.size()));
    bytes[3] = highByte(static_cast<std::uint32_t>(bytes.size()));
    return bytes;
}

Bytes configurationDescriptor() {
    constexpr std::array<std::uint8_t, 4> pipes{0x02, 0x04, 0x86, 0x88};
    const std::array<Pipes, 2> settings{Pipes{}, pipes};
    return configurationDescriptor(settings);
}

Reply answerStringRequest(const UsbIdentity& identity, const SetupPacket& setup) {
    const bool asked = setup.requestType == kStandardIn && setup.request == kGetDescriptor &&
                       highByte(setup.value) == kString;
    Bytes bytes = asked ? text(identity, lowByte(setup.value)) : Bytes{};
    if (bytes.empty())
        return {Outcome::stalled, {}};
    if (bytes.size() > setup.length)
        bytes.resize(setup.length);
    return {Outcome::done, bytes};
}

} // namespace tavo::virtualcamera
