// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cameras.h"
#include "runs.h"
#include "usbip/server.h"
#include "usbip/socket_address.h"

#include <cstdio>
#include <string>

namespace tavo::virtualcamera {
namespace {

using namespace tavo::usbip;

void describe(const Options& options, const SocketAddress& address,
              const std::vector<DeviceRecord>& records) {
    constexpr const char* standardPort = "3240";
    std::printf("Listening on %s\n", textOf(address).c_str());
    for (std::size_t index = 0; index < records.size(); ++index)
        std::printf("%-6s %04x:%04x  %s\n", records[index].busId.c_str(),
                    unsigned{records[index].vendorId}, unsigned{records[index].productId},
                    options.cameras[index].text.c_str());
    const std::string port = address.port == standardPort ? "" : " --tcp-port " + address.port;
    std::printf("To attach the first:\n  sudo modprobe vhci-hcd\n  sudo usbip%s attach -r %s -b "
                "%s\n",
                port.c_str(), address.host.c_str(), records.front().busId.c_str());
    std::fflush(stdout);
}

} // namespace

int runUsbip(const Options& options) {
    // Before the server starts its thread, which would take the signals otherwise.
    const virtualusb::HeldSignals signals;
    Server server(makeCameras(options), [](const std::string& line) {
        std::fprintf(stderr, "tavo-virtual: %s\n", line.c_str());
    });
    FileDescriptor listener = listenOn(parseAddress(options.usbipAddress));
    const SocketAddress address = boundAddress(listener);
    server.listen(std::move(listener));
    server.start();
    describe(options, address, server.records());
    return runOrWait(options, signals);
}

} // namespace tavo::virtualcamera
