// SPDX-License-Identifier: LGPL-2.1-or-later
#include "parallel_link.h"

#include <algorithm>

namespace tavo::virtualcamera {

using virtualusb::Outcome;
using virtualusb::Reply;

namespace {

constexpr Microseconds kDefaultTimeout = 100 * kMillisecond;
constexpr std::size_t kOutgoingRoom = 4096;
// The byte after the data of a read; the host discards it, so its value only shows in captures.
constexpr std::uint8_t kClosingByte = 0x5A;

} // namespace

ParallelLink::ParallelLink(const Clock& clock_, Fifo& fifo_, LinkTarget& target_, Journal journal_,
                           std::span<const std::uint8_t> requiredTable_)
    : clock(clock_), fifo(fifo_), target(target_), journal(std::move(journal_)),
      requiredTable(requiredTable_) {
    reset();
}

void ParallelLink::reset() {
    tableFits = false;
    timeout = kDefaultTimeout;
    armed.reset();
    outgoing.clear();
    fifo.clear();
    target.linkReset();
}

void ParallelLink::loadTable(std::span<const std::uint8_t> table) {
    armed.reset();
    tableFits = std::equal(table.begin(), table.end(), requiredTable.begin(), requiredTable.end());
    journal("parallel link: table of ", table.size(), " bytes loaded, ",
            tableFits ? "the one this camera needs" : "not the one this camera needs");
}

void ParallelLink::armRead(std::uint32_t length) {
    if (armed)
        journal("parallel link: a read with ", armed->left, " bytes to come is abandoned");
    armed.reset();
    if (tableFits)
        armed = ArmedRead{clock.now(), length, std::nullopt};
    else
        journal("parallel link: nothing to read without the right table");
}

// Counts from the last sign of life, so that a long image does not run into it.
Microseconds ParallelLink::deadline(Microseconds now) const {
    return std::max(armed->since, fifo.lastArrival(now)) + timeout;
}

Reply ParallelLink::read(std::uint32_t limit) {
    if (!armed)
        return {};
    const Microseconds now = clock.now();
    const std::uint32_t wanted = std::min(limit, armed->left);
    const std::uint64_t available = fifo.available(now);
    if (available >= wanted)
        return deliver(wanted, limit > armed->left);
    if (now >= deadline(now))
        return giveUp(available);
    armed->awaited = wanted;
    return {};
}

Reply ParallelLink::deliver(std::uint32_t count, bool closing) {
    Reply reply{Outcome::done, fifo.take(count)};
    if (count != 0)
        journal("parallel link: ", count, " bytes read: ", hexDump(reply.data));
    armed->left -= count;
    armed->since = clock.now();
    armed->awaited.reset();
    if (closing) {
        reply.data.push_back(kClosingByte);
        armed.reset();
    }
    return reply;
}

// Without any data the answer is "nothing yet": an empty packet would make a host that counts on
// short transfers ask for ever.
Reply ParallelLink::giveUp(std::uint64_t available) {
    journal("parallel link: time-out, ", available, " of ", armed->left, " bytes are there");
    armed.reset();
    if (available == 0)
        return {};
    return {Outcome::done, fifo.take(available)};
}

bool ParallelLink::queue(std::span<const std::uint8_t> bytes) {
    if (outgoing.size() + bytes.size() > kOutgoingRoom)
        return false;
    outgoing.insert(outgoing.end(), bytes.begin(), bytes.end());
    return true;
}

bool ParallelLink::commit() {
    const std::vector<std::uint8_t> bytes = std::exchange(outgoing, {});
    if (!tableFits) {
        journal("parallel link: ", bytes.size(), " bytes cannot go out without the right table");
        return false;
    }
    target.receive(bytes);
    return true;
}

std::optional<Microseconds> ParallelLink::wakeAt() const {
    if (!armed || !armed->awaited)
        return std::nullopt;
    const Microseconds limit = deadline(clock.now());
    const auto ready = fifo.whenAvailable(*armed->awaited);
    return ready ? std::min(*ready, limit) : limit;
}

} // namespace tavo::virtualcamera
