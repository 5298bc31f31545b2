// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fifo.h"

#include <algorithm>
#include <utility>

namespace tavo::virtualcamera {

namespace {

// Answers are short, so that this many are a few megabytes at most.
constexpr std::size_t kEntryLimit = 16384;

} // namespace

bool Fifo::put(std::vector<std::uint8_t> bytes, Microseconds readyAt) {
    if (entries.size() >= kEntryLimit)
        return false;
    const std::uint64_t size = bytes.size();
    if (size != 0)
        entries.push_back({readyAt, 0.0, size, 0, std::move(bytes), nullptr});
    return true;
}

void Fifo::stream(std::unique_ptr<ByteSource> source, Microseconds startsAt,
                  double microsecondsPerByte) {
    const std::uint64_t size = source->size();
    if (size != 0)
        entries.push_back({startsAt, microsecondsPerByte, size, 0, {}, std::move(source)});
}

std::uint64_t Fifo::Entry::arrived(Microseconds now) const {
    if (now < readyAt)
        return 0;
    const double elapsed = static_cast<double>(now - readyAt);
    if (elapsed >= static_cast<double>(size) * microsecondsPerByte)
        return size;
    return std::min(size, static_cast<std::uint64_t>(elapsed / microsecondsPerByte));
}

// One microsecond late rather than early: whoever waits until then must find the bytes there.
Microseconds Fifo::Entry::arrivalOf(std::uint64_t count) const {
    if (microsecondsPerByte <= 0.0)
        return readyAt;
    return readyAt + 1 +
           static_cast<Microseconds>(static_cast<double>(count) * microsecondsPerByte);
}

std::uint64_t Fifo::available(Microseconds now) const {
    std::uint64_t count = 0;
    for (const Entry& entry : entries) {
        const std::uint64_t arrived = entry.arrived(now);
        count += arrived - std::min(arrived, entry.taken);
        if (arrived < entry.size)
            break;
    }
    return count;
}

void Fifo::truncate(std::uint64_t count, Microseconds now) {
    std::uint64_t left = std::min(count, available(now));
    auto entry = entries.begin();
    for (; entry != entries.end() && left != 0; ++entry) {
        const std::uint64_t kept = std::min(left, entry->size - entry->taken);
        entry->size = entry->taken + kept;
        left -= kept;
    }
    entries.erase(entry, entries.end());
}

std::optional<Microseconds> Fifo::whenAvailable(std::uint64_t count) const {
    Microseconds when = 0;
    for (const Entry& entry : entries) {
        const std::uint64_t used = std::min(count, entry.size - entry.taken);
        when = std::max(when, entry.arrivalOf(entry.taken + used));
        count -= used;
        if (count == 0)
            return when;
    }
    return count == 0 ? std::optional<Microseconds>{when} : std::nullopt;
}

Microseconds Fifo::lastArrival(Microseconds now) const {
    Microseconds last = 0;
    for (const Entry& entry : entries) {
        if (entry.arrived(now) == 0)
            break;
        last = std::max(last, std::min(now, entry.arrivalOf(entry.size)));
    }
    return last;
}

void Fifo::Entry::copyTo(std::span<std::uint8_t> target) {
    if (source)
        source->read(target);
    else
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(taken), target.size(),
                    target.begin());
    taken += target.size();
}

std::vector<std::uint8_t> Fifo::take(std::uint64_t count) {
    std::vector<std::uint8_t> result(count);
    std::span<std::uint8_t> rest{result};
    while (!rest.empty()) {
        Entry& entry = entries.front();
        const std::size_t part = std::min<std::size_t>(rest.size(), entry.size - entry.taken);
        entry.copyTo(rest.first(part));
        rest = rest.subspan(part);
        if (entry.taken == entry.size)
            entries.pop_front();
    }
    return result;
}

} // namespace tavo::virtualcamera
