// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The parallel bus between the USB controller and the camera's electronics, driven by the
// controller's interface engine. It moves nothing until the table that fits the camera is loaded.
#pragma once

#include "../usb/device.h"
#include "clock.h"
#include "fifo.h"
#include "journal.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

// What listens at the far end of the link.
class LinkTarget {
public:
    virtual ~LinkTarget() = default;
    virtual void receive(std::span<const std::uint8_t> bytes) = 0;
    // The controller was reset: what was on its way is lost.
    virtual void linkReset() = 0;
    // The link is about to strobe the FIFO for the host.
    virtual void readArmed() {}
};

using LinkTables = std::span<const std::span<const std::uint8_t>>;

class ParallelLink {
public:
    // `requiredTables`, in the order in which they must be loaded, are static data.
    ParallelLink(const Clock& clock, Fifo& fifo, LinkTarget& target, Journal journal,
                 LinkTables requiredTables);

    // The electronics lost their supply: table and FIFO are gone.
    void powerUp();
    // The processor starts anew. The interface engine keeps its table, and what the FIFO chip holds
    // of an image or an answer stays there for the host to drain.
    void reset();
    void loadTable(std::span<const std::uint8_t> table);
    // Whether the ports are driven such that the far end listens and speaks.
    void enable(bool enabled_) { enabled = enabled_; }
    void setTimeout(std::uint32_t milliseconds) { timeout = milliseconds * kMillisecond; }

    // Starts a read of `length` bytes and one closing byte, if the link works at all. A read that
    // was still under way is abandoned; nothing has been taken from the FIFO on its behalf, but a
    // closing byte that the host has not fetched comes before the new data.
    void armRead(std::uint32_t length);
    // All of what is asked for, or, when the link's time-out has passed, what there is.
    virtualusb::Reply read(std::uint32_t limit);

    // The host waits no longer for the read that found too little; what comes goes to the next one.
    void cancelRead();

    // False when there is no room.
    bool queue(std::span<const std::uint8_t> bytes);
    // Sends what is queued, into the void when the far end is not enabled. False when the link has
    // no table for it.
    bool commit();

    // When a read that found nothing is worth another try.
    std::optional<Microseconds> wakeAt() const;

private:
    struct ArmedRead {
        Microseconds since;
        std::uint32_t left;                   // without the closing byte
        std::optional<std::uint32_t> awaited; // by a read that found too little
    };

    bool tablesFit() const { return tablesLoaded == requiredTables.size(); }
    void abandonRead();
    Microseconds deadline(Microseconds now) const;
    std::vector<std::uint8_t> takeUnfetched(std::uint32_t limit);
    virtualusb::Reply deliver(std::uint32_t limit);
    virtualusb::Reply giveUp(std::uint32_t limit, std::uint64_t available);

    const Clock& clock;
    Fifo& fifo;
    LinkTarget& target;
    Journal journal;
    LinkTables requiredTables;
    std::size_t tablesLoaded = 0; // of the required ones, in their order
    bool enabled = false;
    Microseconds timeout = 0;
    std::optional<ArmedRead> armed; // only while the tables fit
    std::uint32_t unfetched = 0;    // closing bytes of earlier reads that wait in the endpoint
    std::vector<std::uint8_t> outgoing;
};

} // namespace tavo::virtualcamera
