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
constexpr std::uint32_t kEndpointRoom = 512;
// What the chip at the link holds without the memory behind it.
constexpr std::uint64_t kFifoChip = 4096;

} // namespace

ParallelLink::ParallelLink(const Clock& clock_, Fifo& fifo_, LinkTarget& target_, Journal journal_,
                           LinkTables requiredTables_)
    : clock(clock_), fifo(fifo_), target(target_), journal(std::move(journal_)),
      requiredTables(requiredTables_) {
    powerUp();
}

void ParallelLink::powerUp() {
    tablesLoaded = 0;
    fifo.clear();
    reset();
}

void ParallelLink::reset() {
    enabled = false;
    timeout = kDefaultTimeout;
    armed.reset();
    unfetched = 0;
    outgoing.clear();
    const Microseconds now = clock.now();
    fifo.truncate(kFifoChip, now);
    if (const std::uint64_t kept = fifo.available(now); kept != 0)
        journal("parallel link: ", kept, " bytes stay in the FIFO");
    target.linkReset();
}

void ParallelLink::abandonRead() {
    if (armed && armed->left == 0) {
        unfetched = std::min(unfetched + 1, kEndpointRoom);
        journal("parallel link: the closing byte of the last read has not been fetched, it comes "
                "before the next data");
    } else if (armed) {
        journal("parallel link: a read with ", armed->left, " bytes to come is abandoned");
    }
    armed.reset();
}

void ParallelLink::loadTable(std::span<const std::uint8_t> table) {
    abandonRead();
    const auto isNumber = [&](std::size_t number) {
        return std::equal(table.begin(), table.end(), requiredTables[number].begin(),
                          requiredTables[number].end());
    };
    const std::size_t next = tablesFit() ? 0 : tablesLoaded;
    const bool expected = isNumber(next);
    tablesLoaded = expected ? next + 1 : isNumber(0) ? 1 : 0;
    journal("parallel link: table of ", table.size(), " bytes loaded, ",
            tablesFit()         ? "the one this camera needs"
            : tablesLoaded != 0 ? "another one must follow"
                                : "not the one this camera needs");
}

void ParallelLink::armRead(std::uint32_t length) {
    abandonRead();
    if (!tablesFit())
        journal("parallel link: nothing to read without the right table");
    else if (!enabled)
        journal("parallel link: nothing to read, the ports are not set up for it");
    else {
        target.readArmed();
        armed = ArmedRead{clock.now(), length, std::nullopt};
    }
}

void ParallelLink::cancelRead() {
    if (armed)
        armed->awaited.reset();
}

// Counts from the arming, and once data come, from the last of them, so that a long image does not
// run into it.
Microseconds ParallelLink::deadline(Microseconds now) const {
    return std::max(armed->since, fifo.lastArrival(now)) + timeout;
}

Reply ParallelLink::read(std::uint32_t limit) {
    if (!armed)
        return unfetched == 0 ? Reply{} : Reply{Outcome::done, takeUnfetched(limit)};
    const Microseconds now = clock.now();
    const std::uint32_t wanted = std::min(limit - std::min(limit, unfetched), armed->left);
    const std::uint64_t available = fifo.available(now);
    if (available >= wanted)
        return deliver(limit);
    if (now >= deadline(now))
        return giveUp(limit, available);
    armed->awaited = wanted;
    return {};
}

std::vector<std::uint8_t> ParallelLink::takeUnfetched(std::uint32_t limit) {
    const std::uint32_t count = std::min(limit, unfetched);
    unfetched -= count;
    return std::vector<std::uint8_t>(count, kClosingByte);
}

// REQUIRES: the FIFO has what is to come.
Reply ParallelLink::deliver(std::uint32_t limit) {
    Reply reply{Outcome::done, takeUnfetched(limit)};
    const auto room = limit - static_cast<std::uint32_t>(reply.data.size());
    const std::uint32_t count = std::min(room, armed->left);
    const std::vector<std::uint8_t> data = fifo.take(count);
    reply.data.insert(reply.data.end(), data.begin(), data.end());
    if (count != 0)
        journal("parallel link: ", count, " bytes read: ", hexDump(data));
    const bool closing = room > armed->left;
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
Reply ParallelLink::giveUp(std::uint32_t limit, std::uint64_t available) {
    journal("parallel link: time-out, ", available, " of ", armed->left, " bytes are there");
    armed.reset();
    if (available == 0 && unfetched == 0)
        return {};
    Reply reply{Outcome::done, takeUnfetched(limit)};
    const std::vector<std::uint8_t> data = fifo.take(available);
    reply.data.insert(reply.data.end(), data.begin(), data.end());
    return reply;
}

bool ParallelLink::queue(std::span<const std::uint8_t> bytes) {
    if (outgoing.size() + bytes.size() > kOutgoingRoom)
        return false;
    outgoing.insert(outgoing.end(), bytes.begin(), bytes.end());
    return true;
}

bool ParallelLink::commit() {
    const std::vector<std::uint8_t> bytes = std::exchange(outgoing, {});
    if (!tablesFit()) {
        journal("parallel link: ", bytes.size(), " bytes cannot go out without the right table");
        return false;
    }
    if (enabled)
        target.receive(bytes);
    else
        journal("parallel link: ", bytes.size(), " bytes reach no one, the ports are not set up");
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
