// SPDX-License-Identifier: LGPL-2.1-or-later
#include "list_sweep.h"
#include "operation_sweep.h"
#include "trace_log.h"
#include "verdicts.h"
#include "waits.h"

#include <cstdio>
#include <string_view>

using namespace tavo::sweep;

namespace {

void add(Tally& sum, const Tally& tally) {
    sum.calls += tally.calls;
    sum.callFaults += tally.callFaults;
    sum.allocations += tally.allocations;
    sum.allocationFaults += tally.allocationFaults;
    sum.refused += tally.refused;
    sum.tolerated += tally.tolerated;
    sum.thrown += tally.thrown;
    sum.endless += tally.endless;
    sum.findings += tally.findings;
}

// Every operation of every family; what each forgives is added to `lines`.
Tally sweepAll(std::vector<std::string>& lines) {
    Tally sum;
    const auto note = [&](const Tally& tally) {
        print(tally);
        add(sum, tally);
    };
    note(sweepStart());
    for (const CAMERA_TYPE type : tavo::test::kFamilies)
        note(sweepList(type));
    for (const Operation& operation : operations())
        for (const CAMERA_TYPE type : tavo::test::kFamilies) {
            OperationSweep sweep(type, operation);
            if (!sweep.served() && operation.servedOnly)
                continue;
            note(sweep.run());
            const std::vector<std::string> verdicts = sweep.verdicts();
            lines.insert(lines.end(), verdicts.begin(), verdicts.end());
        }
    sum.operation = "all";
    print(sum);
    return sum;
}

} // namespace

// With --write-expected the verdicts are kept in place of those that expected.txt holds.
int main(int count, char** arguments) {
    const bool keeping = count == 2 && std::string_view(arguments[1]) == "--write-expected";
    if (count > 1 && !keeping) {
        std::printf("usage: %s [--write-expected]\n", arguments[0]);
        return 2;
    }
    takeOverTrace();
    startWatching();
    printHeading();
    std::vector<std::string> lines;
    const Tally sum = sweepAll(lines);
    if (keeping)
        writeExpected(lines);
    const std::size_t changed = compareWithExpected(lines);
    std::printf("\n");
    const std::size_t wrong = showWaits();
    finishedWatching();
    std::printf("\n%zu runs with a fault, %zu findings, %zu changed verdicts, %zu waits that are "
                "not as told\n",
                sum.callFaults + sum.allocationFaults, sum.findings, changed, wrong);
    return sum.findings + changed + wrong == 0 ? 0 : 1;
}
