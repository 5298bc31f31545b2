// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a device's descriptors say, as far as a bus needs it: which endpoints exist in which
// alternate setting of which interface.
#pragma once

#include "device.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tavo::virtualusb {

inline constexpr std::size_t kDeviceDescriptorSize = 18;
inline constexpr std::uint8_t kDirectionIn = 0x80;

enum class EndpointKind : std::uint8_t { control = 0, isochronous = 1, bulk = 2, interrupt = 3 };

struct EndpointDescription {
    std::uint8_t address = 0; // with the direction bit
    EndpointKind kind = EndpointKind::bulk;
    std::uint32_t packetSize = 0; // the most that one packet holds, in bytes
};

struct SettingDescription {
    unsigned interface = 0;
    unsigned setting = 0;
    std::vector<EndpointDescription> endpoints;
};

class Descriptors {
public:
    // `raw` is the device descriptor followed by configuration 1. Throws std::invalid_argument,
    // naming the fault, when it is anything else.
    explicit Descriptors(Bytes raw);

    std::span<const std::uint8_t> all() const { return raw; }
    std::span<const std::uint8_t> device() const;
    std::span<const std::uint8_t> configuration() const;

    std::uint16_t vendorId() const;
    std::uint16_t productId() const;
    std::uint8_t configurationValue() const;
    unsigned interfaceCount() const;

    bool hasInterface(unsigned interface) const;
    const SettingDescription* setting(unsigned interface, unsigned setting) const;

    // The interface that has this endpoint in any of its settings, chosen or not.
    std::optional<unsigned> interfaceOf(std::uint8_t endpoint) const;

private:
    void readSettings();
    void readEndpoint(std::span<const std::uint8_t> descriptor);

    Bytes raw;
    std::vector<SettingDescription> settings;
};

// The endpoint of that address in a setting, or null.
const EndpointDescription* findEndpoint(const SettingDescription& setting, std::uint8_t address);

} // namespace tavo::virtualusb
