// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "plan.h"
#include "record.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace tavo::soak {

// The table of all sessions, by family.
class Report {
public:
    void add(const Record& record);
    // A session whose own program died.
    void addBroken() { ++broken; }
    void print() const;
    bool isGood() const;

private:
    struct Row {
        std::uint64_t sessions = 0, healthy = 0, calls = 0, unplugs = 0, failures = 0, hangs = 0;
        std::array<std::uint64_t, kFaultKinds.size()> faults{};

        void operator+=(const Row& other);
    };
    struct LongCall {
        unsigned untilFaultsEnded = 0, untilUnplugged = 0;
        std::uint64_t seed = 0; // of the latest
    };

    static void print(const std::string& name, const Row& row);

    std::array<Row, std::size(kFamilies)> rows{};
    std::map<std::string, LongCall> longCalls; // by family and operation
    unsigned unexpectedWaits = 0;
    unsigned assertions = 0, libusbAssertions = 0, lostConnections = 0, broken = 0;
};

} // namespace tavo::soak
