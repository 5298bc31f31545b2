// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What open and a small command take, against the pauses that the cameras need and the time in
// libusb. Run under tavo-virtual, also with valgrind in between, which counts the instructions.
#include "allocation_count.h"
#include "link_recorder.h"
#include "report.h"

#include <tavoccdusb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

using tavo::bench::linkRecorder;
using tavo::bench::LinkTimes;

constexpr double kGoal = 1.01;

struct Cost {
    std::vector<double> ratios; // of the wall time to pauses and transfers
    LinkTimes times;            // of the last call
    std::size_t allocations = 0;
};

template <typename Operation>
void measure(Cost& cost, TavoCamera& camera, Operation operation) {
    linkRecorder().times = {};
    const std::size_t before = tavo::bench::allocationCount();
    const auto start = std::chrono::steady_clock::now();
    const bool ok = operation();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    if (!ok)
        throw std::runtime_error(camera.getLastError());
    cost.allocations = tavo::bench::allocationCount() - before;
    cost.times = linkRecorder().times;
    cost.ratios.push_back(wall.count() / (cost.times.pauses + cost.times.transfers));
}

void report(const std::string& subject, const Cost& cost) {
    tavo::bench::reportRatio(subject + ", wall time to pauses and transfers",
                             tavo::bench::median(cost.ratios), kGoal);
    char figure[120];
    std::snprintf(figure, sizeof figure,
                  "%zu allocations, %u transfers, %u pauses of %.3f s in all", cost.allocations,
                  cost.times.transferCount, cost.times.pauseCount, cost.times.pauses);
    tavo::bench::reportFigure(subject, figure);
}

void run(TavoCamera& camera, const std::string& name, int openings, int calls) {
    Cost opening, asking;
    for (int i = 0; i < openings; ++i) {
        camera.close();
        measure(opening, camera, [&] { return camera.open(); });
    }
    report(name + ", open", opening);
    TavoCapabilities caps{};
    camera.getCapabilities(nullptr, nullptr, &caps);
    if (!caps.hasFilterWheel || calls == 0) {
        camera.close();
        return;
    }
    unsigned filters = 0, current = 0, target = 0;
    bool moving = false;
    for (int i = 0; i < calls; ++i)
        measure(asking, camera,
                [&] { return camera.getFilterWheelStatus(&filters, &moving, &current, &target); });
    report(name + ", getFilterWheelStatus", asking);
    camera.close();
}

} // namespace

// command_benchmark NAME OPENINGS CALLS
int main(int argc, char** argv) try {
    if (argc < 4) {
        std::fputs("usage: command_benchmark NAME OPENINGS CALLS\n", stderr);
        return 2;
    }
    TavoCamera* camera = nullptr;
    if (TavoCamera::list(&camera, 1) != 1)
        throw std::runtime_error("there is no camera");
    run(*camera, argv[1], std::atoi(argv[2]), std::atoi(argv[3]));
    TavoCamera_destroy(camera);
} catch (const std::exception& failure) {
    std::fprintf(stderr, "command_benchmark: %s\n", failure.what());
    return 1;
}
