// SPDX-License-Identifier: LGPL-2.1-or-later
#include "report.h"

#include "known_waits.h"

#include <cstdio>

namespace tavo::soak {

void Report::Row::operator+=(const Row& other) {
    sessions += other.sessions;
    healthy += other.healthy;
    calls += other.calls;
    unplugs += other.unplugs;
    failures += other.failures;
    hangs += other.hangs;
    for (std::size_t kind = 0; kind < faults.size(); ++kind)
        faults[kind] += other.faults[kind];
}

void Report::add(const Record& record) {
    Row row;
    row.sessions = 1;
    row.healthy = record.healthy;
    row.calls = record.calls;
    row.unplugs = record.unplugs;
    row.hangs = record.end == End::hung;
    row.failures = (record.findings > 0 || !record.healthy) && !row.hangs;
    for (std::size_t kind = 0; kind < row.faults.size(); ++kind)
        row.faults[kind] = record.faults[kind];
    rows[record.family] += row;
    assertions += record.end == End::assertion;
    libusbAssertions += record.end == End::libusb;
    lostConnections += record.end == End::umockdev;
    if (!record.waitedForFaults && !record.waitedForUnplug)
        return;
    const std::string name = waitName(kFamilies[record.family], record.longCall.data());
    unexpectedWaits += !isKnownWait(name, record.waitedForUnplug);
    LongCall& entry = longCalls[name];
    ++(record.waitedForUnplug ? entry.untilUnplugged : entry.untilFaultsEnded);
    entry.seed = record.seed;
}

void Report::print(const std::string& name, const Row& row) {
    const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
    std::printf("%-7s %8llu %8llu %8llu", name.c_str(), number(row.sessions), number(row.healthy),
                number(row.calls));
    for (const std::uint64_t count : row.faults)
        std::printf(" %9llu", number(count));
    std::printf(" %8llu %8llu %6llu\n", number(row.unplugs), number(row.failures),
                number(row.hangs));
}

void Report::print() const {
    std::printf("%-7s %8s %8s %8s", "family", "sessions", "healthy", "calls");
    for (const char* kind : kFaultKinds)
        std::printf(" %9s", kind);
    std::printf(" %8s %8s %6s\n", "unplugs", "failures", "hangs");
    Row all;
    for (std::size_t family = 0; family < rows.size(); ++family) {
        if (rows[family].sessions > 0)
            print(kFamilies[family], rows[family]);
        all += rows[family];
    }
    print("all", all);
    if (assertions > 0)
        std::printf("programs ended by the driver because the kind of temperature sensor was "
                    "unknown, as documented: %u\n",
                    assertions);
    if (libusbAssertions > 0)
        std::printf("programs ended by an assertion of libusb: %u\n", libusbAssertions);
    if (lostConnections > 0)
        std::printf("programs ended by umockdev, which cannot lose a device that is being opened: "
                    "%u\n",
                    lostConnections);
    for (const auto& [name, entry] : longCalls) {
        const bool isExpected = isKnownWait(name, entry.untilUnplugged > 0);
        std::printf("waited in %s: %u times until the faults ended, %u times until the camera was "
                    "unplugged (seed %llu): %s\n",
                    name.c_str(), entry.untilFaultsEnded, entry.untilUnplugged,
                    static_cast<unsigned long long>(entry.seed),
                    isExpected ? reasonToWait(name) : "UNEXPECTED");
    }
    if (broken > 0)
        std::printf("sessions that broke down by themselves: %u\n", broken);
}

bool Report::isGood() const {
    for (const Row& row : rows)
        if (row.failures > 0 || row.hangs > 0)
            return false;
    return broken == 0 && unexpectedWaits == 0;
}

} // namespace tavo::soak
