// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The virtual host controller of this computer's kernel (module vhci-hcd), as its files in sysfs
// show it. A device is plugged in by handing the kernel a connected socket on which the commands
// of USB/IP are spoken, and unplugged by closing the other end.
#pragma once

#include "file_descriptor.h"
#include "wire.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavo::usbip {

// A line of the controller's status.
struct VhciPort {
    bool highSpeed = false; // its hub: high speed or below, or else SuperSpeed
    unsigned number = 0;
    unsigned status = 0;
    std::uint32_t device = 0; // a deviceId()
    std::string localBusId;   // such as 3-1; 0-0 when there is none
};

inline constexpr unsigned kVhciPortFree = 4;
inline constexpr unsigned kVhciPortUsed = 6;

// Lines that are no ports are passed over.
std::vector<VhciPort> parseVhciStatus(std::string_view text);

// The devices of this process in the kernel. May be used from several threads.
class Vhci {
public:
    // `sysfs` is /sys but in tests. Throws std::runtime_error with a text for the user when the
    // controller is not there or not for this user.
    explicit Vhci(std::filesystem::path sysfs = "/sys");

    // Plugs a device into a free port and returns the end of the socket where it is to be served.
    // Throws std::runtime_error with a text for the user.
    FileDescriptor attach(const DeviceRecord& record);

    // The kernel's name of a device that was attached, such as 3-1, once the kernel has chosen its
    // configuration: then programs can use it.
    std::optional<std::string> configuredName(const DeviceRecord& record);
    // The kernel has forgotten all devices that were attached. To be asked when all were closed.
    bool isClear() const;

private:
    struct Place {
        unsigned port = 0;
        std::string name; // empty until it is configured
    };

    std::vector<VhciPort> ports() const;
    std::optional<unsigned> attachTo(int socket, const DeviceRecord& record);
    bool isClear(const Place& place, const std::vector<VhciPort>& ports) const;

    std::filesystem::path controller;
    std::filesystem::path usbDevices;
    mutable std::mutex mutex;            // guards the map
    std::map<std::string, Place> places; // by bus id of the record
};

} // namespace tavo::usbip
