// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a session came to. Sent through a pipe in one piece, so it holds no pointers.
#pragma once

#include <array>
#include <climits>
#include <cstdint>
#include <string>
#include <type_traits>

namespace tavo::soak {

// How the application's program came to its end.
enum class End : std::uint8_t {
    finished,
    assertion, // of the driver, as its header says
    libusb,    // an assertion of libusb in the lock of a device handle
    umockdev,  // the emulation of usbfs, when the cable is pulled while a program connects
    crashed,
    hung,
};

// By how it is told in the log of the faults.
inline constexpr std::array kFaultKinds{"no answer", "stall", "cut short", "corrupted", "late"};

struct Record {
    std::uint64_t seed = 0;
    std::uint32_t family = 0;
    std::uint32_t calls = 0;
    std::array<std::uint32_t, kFaultKinds.size()> faults{};
    std::uint32_t unplugs = 0;
    std::uint32_t findings = 0;
    bool healthy = false;
    End end = End::finished;
    // A call that only ended when the faults were taken away, or the camera; empty: none.
    bool waitedForFaults = false, waitedForUnplug = false;
    std::array<char, 64> longCall{};
};

static_assert(std::is_trivially_copyable_v<Record> && sizeof(Record) <= PIPE_BUF);

} // namespace tavo::soak
