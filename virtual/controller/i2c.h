// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The controller's I2C master and the memory that every camera has on it.
#pragma once

#include "journal.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tavo::virtualcamera {

class I2cDevice {
public:
    virtual ~I2cDevice() = default;
    virtual void write(std::span<const std::uint8_t> bytes) = 0;
    // Exactly `length` bytes; nothing when the device cannot be read.
    virtual std::optional<std::vector<std::uint8_t>> read(std::uint32_t length) = 0;
};

class I2cBus {
public:
    // The device outlives the bus. Addresses have 7 bits.
    void attach(std::uint8_t address, I2cDevice& device) { devices[address] = &device; }

    // False, or nothing, when no device answers at the address.
    bool write(std::uint8_t address, std::span<const std::uint8_t> bytes);
    std::optional<std::vector<std::uint8_t>> read(std::uint8_t address, std::uint32_t length);

private:
    std::map<std::uint8_t, I2cDevice*> devices;
};

// 256 bytes behind a two-byte address, high byte first, that moves on with every byte and wraps at
// the end. Where the high byte is not 0 there is nothing, which reads as 0xFF. The chip's
// write-protect pin is tied, so that it takes addresses but stores no bytes.
class Eeprom final : public I2cDevice {
public:
    static constexpr std::uint8_t kBusAddress = 0x51;
    using Image = std::array<std::uint8_t, 256>;

    Eeprom(const Image& image_, Journal journal_) : image(image_), journal(std::move(journal_)) {}

    void write(std::span<const std::uint8_t> bytes) override;
    std::optional<std::vector<std::uint8_t>> read(std::uint32_t length) override;

private:
    Image image;
    Journal journal;
    bool present = true; // the address lies within the image
    std::uint8_t pointer = 0;
};

} // namespace tavo::virtualcamera
