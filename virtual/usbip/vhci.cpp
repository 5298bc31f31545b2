// SPDX-License-Identifier: LGPL-2.1-or-later
#include "vhci.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

namespace tavo::usbip {
namespace {

constexpr std::string_view kController = "devices/platform/vhci_hcd.0";
constexpr std::string_view kUsbDevices = "bus/usb/devices";

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The controller takes a command from a single write. 0 or an errno.
int writeOnce(const std::filesystem::path& file, const std::string& text) {
    const FileDescriptor target(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!target || write(target.get(), text.data(), text.size()) < 0)
        return errno;
    return 0;
}

std::string causeOf(int error) {
    return std::strerror(error);
}

} // namespace

std::vector<VhciPort> parseVhciStatus(std::string_view text) {
    std::vector<VhciPort> ports;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string hub;
        unsigned speed = 0;
        std::string socket;
        VhciPort port;
        fields >> hub >> std::dec >> port.number >> port.status >> speed >> std::hex >>
            port.device >> socket >> port.localBusId;
        if (!fields || (hub != "hs" && hub != "ss"))
            continue;
        port.highSpeed = hub == "hs";
        ports.push_back(std::move(port));
    }
    return ports;
}

Vhci::Vhci(std::filesystem::path sysfs)
    : controller(sysfs / kController), usbDevices(sysfs / kUsbDevices) {
    const auto attachFile = controller / "attach";
    if (access(attachFile.c_str(), F_OK) != 0)
        throw std::runtime_error("the kernel module vhci-hcd is not loaded; load it with \"sudo "
                                 "modprobe vhci-hcd\"");
    if (access(attachFile.c_str(), W_OK) != 0)
        throw std::runtime_error("plugging cameras into this computer's kernel needs root: cannot "
                                 "write " +
                                 attachFile.string() + ": " + causeOf(errno));
}

FileDescriptor Vhci::attach(const DeviceRecord& record) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("cannot make a pair of sockets: " + causeOf(errno));
    FileDescriptor served(ends[0]);
    const FileDescriptor kernels(ends[1]);
    const auto port = attachTo(kernels.get(), record);
    if (!port)
        throw std::runtime_error("no port of vhci-hcd is free; \"usbip port\" lists them and "
                                 "\"usbip detach -p PORT\" frees one");
    const std::lock_guard guard(mutex);
    places[record.busId] = {*port, {}};
    return served;
}

// nullopt: no port is free.
std::optional<unsigned> Vhci::attachTo(int socket, const DeviceRecord& record) {
    for (const VhciPort& port : ports()) {
        if (!port.highSpeed || port.status != kVhciPortFree)
            continue;
        const int error =
            writeOnce(controller / "attach",
                      std::to_string(port.number) + " " + std::to_string(socket) + " " +
                          std::to_string(deviceId(record)) + " " + std::to_string(record.speed));
        if (error == 0)
            return port.number;
        if (error != EBUSY) // somebody else was faster
            throw std::runtime_error("vhci-hcd refused a camera at its port " +
                                     std::to_string(port.number) + ": " + causeOf(error));
    }
    return std::nullopt;
}

std::optional<std::string> Vhci::configuredName(const DeviceRecord& record) {
    const std::lock_guard guard(mutex);
    const auto found = places.find(record.busId);
    if (found == places.end())
        return std::nullopt;
    Place& place = found->second;
    for (const VhciPort& port : ports()) {
        if (port.number != place.port || port.status != kVhciPortUsed ||
            port.device != deviceId(record))
            continue;
        // Empty, but for the end of the line, while no configuration is chosen.
        const auto value = contentOf(usbDevices / port.localBusId / "bConfigurationValue");
        if (value.find_first_of("123456789") == std::string::npos)
            return std::nullopt;
        place.name = port.localBusId;
        return place.name;
    }
    return std::nullopt;
}

bool Vhci::isClear() const {
    const std::lock_guard guard(mutex);
    const auto all = ports();
    return std::all_of(places.begin(), places.end(),
                       [&](const auto& entry) { return isClear(entry.second, all); });
}

// The port is free a little before the device is gone.
bool Vhci::isClear(const Place& place, const std::vector<VhciPort>& all) const {
    if (!place.name.empty() && std::filesystem::exists(usbDevices / place.name))
        return false;
    return std::any_of(all.begin(), all.end(), [&](const VhciPort& port) {
        return port.number == place.port && port.status == kVhciPortFree;
    });
}

std::vector<VhciPort> Vhci::ports() const {
    return parseVhciStatus(contentOf(controller / "status"));
}

} // namespace tavo::usbip
