// SPDX-License-Identifier: LGPL-2.1-or-later
#include "descriptors.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace tavo::virtualusb {
namespace {

constexpr std::uint8_t kDeviceType = 1;
constexpr std::uint8_t kConfigurationType = 2;
constexpr std::uint8_t kInterfaceType = 4;
constexpr std::uint8_t kEndpointType = 5;

constexpr std::size_t kConfigurationHeaderSize = 9;
constexpr std::size_t kInterfaceSize = 9;
constexpr std::size_t kEndpointSize = 7;

std::uint16_t littleEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

[[noreturn]] void refuse(const std::string& fault) {
    throw std::invalid_argument("USB descriptors: " + fault);
}

} // namespace

Descriptors::Descriptors(Bytes bytes) : raw(std::move(bytes)) {
    if (raw.size() < kDeviceDescriptorSize + kConfigurationHeaderSize)
        refuse("too short for a device descriptor and a configuration");
    if (raw[0] != kDeviceDescriptorSize || raw[1] != kDeviceType)
        refuse("do not begin with an 18-byte device descriptor");
    const auto header = configuration();
    if (header[0] != kConfigurationHeaderSize || header[1] != kConfigurationType)
        refuse("no configuration follows the device descriptor");
    if (littleEndian16(header, 2) != header.size())
        refuse("the configuration's total length is " + std::to_string(littleEndian16(header, 2)) +
               ", but " + std::to_string(header.size()) + " bytes are there");
    readSettings();
}

std::span<const std::uint8_t> Descriptors::device() const {
    return std::span(raw).first(kDeviceDescriptorSize);
}

std::span<const std::uint8_t> Descriptors::configuration() const {
    return std::span(raw).subspan(kDeviceDescriptorSize);
}

std::uint16_t Descriptors::vendorId() const {
    return littleEndian16(raw, 8);
}

std::uint16_t Descriptors::productId() const {
    return littleEndian16(raw, 10);
}

std::uint8_t Descriptors::configurationValue() const {
    return configuration()[5];
}

unsigned Descriptors::interfaceCount() const {
    return configuration()[4];
}

void Descriptors::readSettings() {
    auto rest = configuration().subspan(kConfigurationHeaderSize);
    while (!rest.empty()) {
        if (rest.size() < 2 || rest[0] < 2 || rest[0] > rest.size())
            refuse("a descriptor in the configuration has a wrong length");
        const auto descriptor = rest.first(rest[0]);
        rest = rest.subspan(descriptor.size());
        if (descriptor[1] == kInterfaceType) {
            if (descriptor.size() < kInterfaceSize)
                refuse("an interface descriptor is shorter than 9 bytes");
            settings.push_back({descriptor[2], descriptor[3], {}});
        } else if (descriptor[1] == kEndpointType) {
            readEndpoint(descriptor);
        }
    }
}

void Descriptors::readEndpoint(std::span<const std::uint8_t> descriptor) {
    if (descriptor.size() < kEndpointSize)
        refuse("an endpoint descriptor is shorter than 7 bytes");
    if (settings.empty())
        refuse("an endpoint stands before any interface");
    const auto kind = static_cast<EndpointKind>(descriptor[3] & 3);
    const unsigned packetSize = littleEndian16(descriptor, 4) & 0x7ffu;
    settings.back().endpoints.push_back({descriptor[2], kind, packetSize});
}

bool Descriptors::hasInterface(unsigned interface) const {
    return std::any_of(settings.begin(), settings.end(),
                       [&](const auto& entry) { return entry.interface == interface; });
}

const SettingDescription* Descriptors::setting(unsigned interface, unsigned number) const {
    const auto found = std::find_if(settings.begin(), settings.end(), [&](const auto& entry) {
        return entry.interface == interface && entry.setting == number;
    });
    return found == settings.end() ? nullptr : &*found;
}

std::optional<unsigned> Descriptors::interfaceOf(std::uint8_t endpoint) const {
    for (const auto& entry : settings)
        if (findEndpoint(entry, endpoint))
            return entry.interface;
    return std::nullopt;
}

const EndpointDescription* findEndpoint(const SettingDescription& setting, std::uint8_t address) {
    const auto& list = setting.endpoints;
    const auto found = std::find_if(list.begin(), list.end(), [&](const auto& endpoint) {
        return endpoint.address == address;
    });
    return found == list.end() ? nullptr : &*found;
}

} // namespace tavo::virtualusb
