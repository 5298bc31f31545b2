// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One transfer on its way between a host program and a device.
#pragma once

#include "device.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace tavo::virtualusb {

using Clock = std::chrono::steady_clock;

// One opening of a device by a host program. Claims and transfers belong to it.
using FileNumber = std::uint64_t;

struct Transfer {
    using Finish = std::function<void(Transfer& transfer)>;

    FileNumber file = 0;
    std::uint64_t tag = 0; // what the host discards it by

    bool control = false;
    std::uint8_t endpoint = 0;    // of a bulk transfer, with the direction bit
    SetupPacket setup{};          // of a control transfer
    Bytes out;                    // what goes to the device
    std::uint32_t length = 0;     // how much is wanted of the device
    std::uint32_t packetSize = 0; // of a bulk transfer's endpoint; 0: packets do not matter

    // Semantics of split transfers: a short answer is an error, which ends the continuations.
    bool shortIsError = false;
    bool continuation = false;

    std::optional<Clock::time_point> deadline;

    bool waits = false; // the device had no answer to it so far

    // Filled in when it finishes: 0 or a negative errno, and what was moved.
    int status = 0;
    std::uint32_t moved = 0;
    Bytes in;
    Finish finished;
};

// Whether the data of a transfer goes to the host.
inline bool towardsHost(const Transfer& transfer) {
    return ((transfer.control ? transfer.setup.requestType : transfer.endpoint) & 0x80) != 0;
}

// What a bulk IN transfer asks of the device, which sends whole packets whatever room the host has
// for the last one. With a packet size given, settle() ends what does not fit with -EOVERFLOW.
constexpr std::uint32_t lengthInPackets(std::uint32_t length, std::uint32_t packetSize) {
    const std::uint32_t last = packetSize == 0 ? 0 : length % packetSize;
    return last == 0 ? length : length + (packetSize - last);
}
static_assert(lengthInPackets(1, 512) == 512 && lengthInPackets(512, 512) == 512 &&
              lengthInPackets(513, 512) == 1024 && lengthInPackets(7, 0) == 7);

} // namespace tavo::virtualusb
