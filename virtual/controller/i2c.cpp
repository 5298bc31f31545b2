// SPDX-License-Identifier: LGPL-2.1-or-later
#include "i2c.h"

namespace tavo::virtualcamera {

bool I2cBus::write(std::uint8_t address, std::span<const std::uint8_t> bytes) {
    const auto found = devices.find(address);
    if (found == devices.end())
        return false;
    found->second->write(bytes);
    return true;
}

std::optional<std::vector<std::uint8_t>> I2cBus::read(std::uint8_t address, std::uint32_t length) {
    const auto found = devices.find(address);
    if (found == devices.end())
        return std::nullopt;
    return found->second->read(length);
}

void Eeprom::write(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 2)
        return;
    pointer = bytes[1];
    for (const std::uint8_t byte : bytes.subspan(2))
        image[pointer++] = byte;
}

std::optional<std::vector<std::uint8_t>> Eeprom::read(std::uint32_t length) {
    std::vector<std::uint8_t> bytes(length);
    for (std::uint8_t& byte : bytes)
        byte = image[pointer++];
    return bytes;
}

} // namespace tavo::virtualcamera
