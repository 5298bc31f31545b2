// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cameras.h"
#include "runs.h"
#include "usbip/server.h"
#include "usbip/socket_address.h"

#include <array>
#include <climits>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace tavo::virtualcamera {
namespace {

using namespace tavo::usbip;

// Where others reach a server that listens there: an address that means all of this computer's own
// is none to them.
std::string reachableHost(const SocketAddress& address) {
    std::array<char, HOST_NAME_MAX + 1> name{};
    const bool isEverywhere = address.host == "0.0.0.0" || address.host == "::";
    if (!isEverywhere || gethostname(name.data(), name.size() - 1) != 0)
        return address.host;
    return name.data();
}

// A command's output is left to itself, as on the testbed.
void describe(const Options& options, const SocketAddress& address,
              const std::vector<DeviceRecord>& records) {
    constexpr const char* standardPort = "3240";
    std::FILE* const stream = options.command.empty() ? stdout : stderr;
    std::fprintf(stream, "Listening on %s\n", textOf(address).c_str());
    for (std::size_t index = 0; index < records.size(); ++index)
        std::fprintf(stream, "%-6s %04x:%04x  %s\n", records[index].busId.c_str(),
                     unsigned{records[index].vendorId}, unsigned{records[index].productId},
                     options.cameras[index].text.c_str());
    const std::string port = address.port == standardPort ? "" : " --tcp-port " + address.port;
    std::fprintf(stream,
                 "To attach the first:\n  sudo modprobe vhci-hcd\n  sudo usbip%s attach -r %s -b "
                 "%s\n",
                 port.c_str(), reachableHost(address).c_str(), records.front().busId.c_str());
    std::fflush(stream);
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
