// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What is to go wrong with a virtual device, and how a person asks for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavo::virtualusb {

struct Fault {
    enum class Where { bulkIn, bulkOut, controlIn, controlOut };
    enum class Kind {
        timeout,     // nothing happens until the host gives up
        stall,       // refused; a bulk endpoint is then halted
        shortPacket, // a part of the data, and the rest is lost
        corrupt,     // one byte is not what it was
        late,        // answered after `delay`
    };

    Where where;
    double probability; // for each request
    Kind kind;
    std::uint64_t delay = 0; // microseconds of the host
};

struct FaultPlan {
    std::vector<Fault> faults;
    std::optional<std::uint64_t> unplugAfter; // requests
    std::optional<std::uint64_t> replugDelay; // microseconds of the host; absent: never
    bool pingUnanswered = false;
    std::uint64_t seed = 1;

    bool touchesTraffic() const { return !faults.empty() || unplugAfter.has_value(); }
};

// Adds what a text asks for, one of
//   WHERE:PROBABILITY:KIND[:MILLISECONDS]
//     WHERE: bulk-in, bulk-out, control-in, control-out
//     KIND: timeout, stall, short, corrupt, late (which takes MILLISECONDS, 500 unless given)
//   unplug-after:REQUESTS[:MILLISECONDS]   the last of REQUESTS finds the device unplugged;
//                                          plugged in again after MILLISECONDS where given
//   ping:never
// Throws std::invalid_argument with a text for the user.
void addFault(FaultPlan& plan, const std::string& text);

} // namespace tavo::virtualusb
