// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a USB device shows to the bus it is plugged into. A bus (the umockdev testbed, say) turns
// requests of the host into these calls; a camera model implements them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualusb {

using Bytes = std::vector<std::uint8_t>;

// Outcome of one request, in the device's own words.
enum class Outcome {
    done,    // the request finished; for IN the data is what was moved
    stalled, // refused (the host sees EPIPE)
    nothing, // no data or no room yet: stays pending until the device changes or the host gives up
    gone,    // unplugged; wakeIn() tells when it is plugged in again (nullopt: never)
};

struct Reply {
    Outcome outcome = Outcome::nothing;
    Bytes data; // IN requests only; may be shorter than asked for, never longer
};

struct SetupPacket {
    std::uint8_t requestType;
    std::uint8_t request;
    std::uint16_t value;
    std::uint16_t index;
    std::uint16_t length;
};

// Called from one thread at a time (the bus serialises).
class Device {
public:
    virtual ~Device() = default;

    // The 18-byte device descriptor followed by configuration 1 with all that belongs to it.
    virtual Bytes descriptors() const = 0;

    virtual Outcome setAlternateSetting(unsigned interface, unsigned setting) = 0;
    virtual Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) = 0;
    virtual Reply controlIn(const SetupPacket& setup) = 0;

    // `endpoint` is the address with its direction bit (0x04 out, 0x86 in).
    virtual Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) = 0;
    virtual Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) = 0;

    // The host has given up a request that was answered "nothing". For the control pipe the
    // endpoint is 0x00 or, with the direction bit, 0x80.
    virtual void cancelled(std::uint8_t) {}

    // How long from now until a request that was answered "nothing" is worth asking again, in
    // microseconds (0: as soon as possible; nullopt: only after another request).
    virtual std::optional<std::uint64_t> wakeIn() const = 0;

    // The bus was reset or the device was unplugged and plugged in again.
    virtual void reset() = 0;
};

} // namespace tavo::virtualusb
