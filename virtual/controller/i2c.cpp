// SPDX-License-Identifier: LGPL-2.1-or-later
#include "i2c.h"

#include "bytes.h"

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
    if (bytes.size() < 2) {
        journal("memory: an address has two bytes, ignored: ", hexDump(bytes));
        return;
    }
    present = bytes[0] == 0;
    pointer = bytes[1];
    if (!present)
        journal("memory: there is nothing at ", hex(u16be(bytes, 0), 4));
    if (bytes.size() > 2)
        journal("memory: write-protected, ignored: ", hexDump(bytes.subspan(2)));
}

std::optional<std::vector<std::uint8_t>> Eeprom::read(std::uint32_t length) {
    constexpr std::uint8_t kNothing = 0xFF;
    std::vector<std::uint8_t> bytes(length, kNothing);
    if (present)
        for (std::uint8_t& byte : bytes)
            byte = image[pointer++];
    return bytes;
}

} // namespace tavo::virtualcamera
