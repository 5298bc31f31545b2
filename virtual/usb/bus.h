// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A virtual USB bus: a umockdev testbed with a root hub and the devices plugged into it. Programs
// that run in its environment see these through an unmodified libusb, and no other USB device.
#pragma once

#include "device.h"
#include "transfer_memory.h"

#include <memory>
#include <string>
#include <vector>

namespace tavo::virtualusb {

class RootHub;

struct BusOptions {
    // What all pending transfers may occupy together, in bytes; 0: as much as they want.
    std::uint64_t transferMemory = kDefaultTransferMemory;
};

// Thread-safe. A device that says that it is gone is unplugged, and plugged in again, under a new
// number, when it says so.
class Bus {
public:
    // Makes the testbed's directory under the system's place for temporary files and names it in
    // this process's environment as UMOCKDEV_DIR. One bus at a time. Throws std::runtime_error.
    explicit Bus(const BusOptions& options = {});
    // Deletes the devices and the directory. Programs that still have a device open abort at
    // their next use of it.
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // Plugs a device into the first free port and returns its device number, 2 for the first.
    // Throws std::invalid_argument for malformed descriptors, std::runtime_error when the bus is
    // full.
    unsigned plug(std::unique_ptr<Device> device);

    // Pulls a device out and gives it back. What programs have pending on it ends, and their
    // further requests find no device. Throws std::invalid_argument when no device has that number.
    std::unique_ptr<Device> unplug(unsigned number);

    // Where the testbed is.
    std::string directory() const;

    // The environment of this process with what a child needs to live on this bus.
    std::vector<std::string> environment() const;

private:
    std::shared_ptr<RootHub> hub;
};

} // namespace tavo::virtualusb
