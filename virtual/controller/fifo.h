// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The buffer between a camera's electronics and the parallel link. What is put there becomes
// readable at its own time: a reply all at once, an image at the pace of its digitiser.
#pragma once

#include "clock.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

// Yields the bytes of an image from first to last, once.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    // REQUIRES: no more than size() bytes are read in all.
    virtual void read(std::span<std::uint8_t> target) = 0;
};

class Fifo {
public:
    // False, and nothing is taken, when it is full: when no one has read for very long.
    bool put(std::vector<std::uint8_t> bytes, Microseconds readyAt);
    void stream(std::unique_ptr<ByteSource> source, Microseconds startsAt,
                double microsecondsPerByte);
    void clear() { entries.clear(); }
    // Keeps the first `count` of the bytes readable now; nothing more arrives after them.
    void truncate(std::uint64_t count, Microseconds now);

    std::uint64_t available(Microseconds now) const;
    // When `count` bytes will be readable; nothing when no one has promised that many.
    std::optional<Microseconds> whenAvailable(std::uint64_t count) const;
    // When the newest of the bytes readable now arrived; 0 when there are none.
    Microseconds lastArrival(Microseconds now) const;
    // REQUIRES: count bytes are available.
    std::vector<std::uint8_t> take(std::uint64_t count);

private:
    struct Entry {
        Microseconds readyAt;
        double microsecondsPerByte; // 0: all at once
        std::uint64_t size;
        std::uint64_t taken;
        std::vector<std::uint8_t> bytes;
        std::unique_ptr<ByteSource> source; // in place of bytes

        std::uint64_t arrived(Microseconds now) const;
        Microseconds arrivalOf(std::uint64_t count) const;
        void copyTo(std::span<std::uint8_t> target);
    };

    std::deque<Entry> entries;
};

} // namespace tavo::virtualcamera
