// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Who is plugged into which port of the bus, under which number.
#pragma once

#include "testbed.h"
#include "transfer_memory.h"
#include "usbfs_node.h"

#include <list>
#include <memory>
#include <mutex>

namespace tavo::virtualusb {

// Its lock is never held while a node is called, as nodes call it under theirs.
class RootHub : public std::enable_shared_from_this<RootHub> {
public:
    explicit RootHub(std::uint64_t transferMemory);

    unsigned plug(std::unique_ptr<Device> device);
    std::unique_ptr<Device> unplug(unsigned number);
    std::string directory() const { return testbed->directory(); }
    // Deletes the devices and the testbed; later events of nodes find nothing to do.
    void close();

private:
    struct Occupant {
        Place place;
        Descriptors descriptors;
        std::shared_ptr<UsbfsNode> node;
        bool present = true; // false: gone by itself, its port is kept for it
    };

    unsigned plugInto(unsigned port, std::unique_ptr<Device> device);
    unsigned freePort() const;
    unsigned newNumber();
    Occupant* find(unsigned number);
    bool isInUse(unsigned number) const;
    void departed(unsigned number);
    void returned(unsigned number, std::unique_ptr<Device> device);

    std::mutex lock;
    std::unique_ptr<Testbed> testbed;
    const std::shared_ptr<TransferMemory> memory;
    std::list<Occupant> occupants;
    unsigned lastNumber;
};

} // namespace tavo::virtualusb
