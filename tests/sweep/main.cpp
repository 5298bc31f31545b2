// SPDX-License-Identifier: LGPL-2.1-or-later
#include "list_sweep.h"
#include "operation_sweep.h"
#include "trace_log.h"
#include "waits.h"

#include <cstdio>

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

} // namespace

int main() {
    takeOverTrace();
    startWatching();
    printHeading();
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
            if (sweep.served() || !operation.servedOnly)
                note(sweep.run());
        }
    sum.operation = "all";
    print(sum);
    std::printf("\n");
    const std::size_t wrong = showWaits();
    finishedWatching();
    std::printf("\n%zu runs with a fault, %zu findings, %zu waits that are not as told\n",
                sum.callFaults + sum.allocationFaults, sum.findings, wrong);
    return sum.findings + wrong == 0 ? 0 : 1;
}
