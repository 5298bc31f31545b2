// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cameras.h"
#include "runs.h"
#include "usbip/server.h"
#include "usbip/vhci.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace tavo::virtualcamera {
namespace {

using namespace tavo::usbip;

constexpr std::chrono::seconds kEnumerationTime{60};
constexpr std::chrono::seconds kDetachingTime{10};
constexpr int kPollMilliseconds = 20;

// The signal that was sent to end the program meanwhile; 0 when the condition holds or the time
// is over.
int waitFor(const std::function<bool()>& condition, std::chrono::seconds longest) {
    const auto end = std::chrono::steady_clock::now() + longest;
    while (!condition() && std::chrono::steady_clock::now() < end)
        if (const int signal = awaitEndingSignal(kPollMilliseconds))
            return signal;
    return 0;
}

void describe(const Options& options, const std::vector<DeviceRecord>& records, Vhci& vhci) {
    for (std::size_t index = 0; index < records.size(); ++index)
        std::printf("%-6s %04x:%04x  %s\n",
                    vhci.configuredName(records[index]).value_or("?").c_str(),
                    unsigned{records[index].vendorId}, unsigned{records[index].productId},
                    options.cameras[index].text.c_str());
    std::fflush(stdout);
}

// A camera that cannot be plugged in again is no reason to take the others away.
FileDescriptor plugAgain(Vhci& vhci, const DeviceRecord& record) {
    try {
        return vhci.attach(record);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "tavo-virtual: camera %s stays unplugged: %s\n", record.busId.c_str(),
                     error.what());
        return {};
    }
}

int runWithCameras(const Options& options, const std::vector<DeviceRecord>& records, Vhci& vhci,
                   const virtualusb::HeldSignals& signals) {
    const auto ready = [&] {
        return std::all_of(records.begin(), records.end(), [&](const auto& record) {
            return vhci.configuredName(record).has_value();
        });
    };
    // "usbip attach" returns before this, too, but a command is to find its cameras.
    if (const int signal = waitFor(ready, kEnumerationTime))
        return 128 + signal;
    if (!ready())
        throw std::runtime_error("the kernel has not set up the cameras within " +
                                 std::to_string(kEnumerationTime.count()) +
                                 " s; \"sudo dmesg\" tells why");
    // A command's output is left to itself, as on the testbed.
    if (options.command.empty())
        describe(options, records, vhci);
    return runOrWait(options, signals);
}

} // namespace

int runVhci(const Options& options) {
    // Before the server starts its thread, which would take the signals otherwise.
    const virtualusb::HeldSignals signals;
    Vhci vhci;
    Server server(makeCameras(options), [log = options.log](const std::string& line) {
        if (log)
            std::fprintf(stderr, "tavo-virtual: %s\n", line.c_str());
    });
    const auto records = server.records();
    for (const DeviceRecord& record : records)
        server.serve(record.busId, vhci.attach(record));
    server.whenReturned([&vhci](const DeviceRecord& record) { return plugAgain(vhci, record); });
    server.start();
    const int status = runWithCameras(options, records, vhci, signals);
    server.stop();
    // Whoever looks at the bus next, another run for one, is not to find these cameras.
    waitFor([&] { return vhci.isClear(); }, kDetachingTime);
    return status;
}

} // namespace tavo::virtualcamera
