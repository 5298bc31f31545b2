// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device node of the testbed: takes the system calls of all host programs that have it open,
// one after the other, to the device in the port behind it.
#pragma once

#include "readiness.h"
#include "usbfs_file.h"
#include "wake_timer.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace tavo::virtualusb {

// What a node tells of its device, in the thread that serves the node or that unplugs it.
struct DeviceEvents {
    // It is gone. Nobody has been told yet; must not call the node.
    std::function<void()> departed;
    // It is plugged in again and given away: the node serves only those that still have it open.
    std::function<void(std::unique_ptr<Device>)> returned;
};

class UsbfsNode : public std::enable_shared_from_this<UsbfsNode> {
public:
    // Makes the node at `nodePath`.
    UsbfsNode(std::unique_ptr<Port> port, unsigned deviceNumber, const std::string& nodePath,
              std::shared_ptr<TransferMemory> memory, DeviceEvents events);

    // What umockdev is to call; it keeps this object alive.
    ObjectRef<UMockdevIoctlBase> makeHandler();

    // Pulls the device out and gives it away; null when it has been given away before.
    std::unique_ptr<Device> unplug();

    // Ends the service and deletes the device. Calls that come later fail with ENODEV.
    void stop();

private:
    struct Departure {
        std::weak_ptr<UsbfsNode> node;
    };
    using Serve = std::optional<Answer> (UsbfsNode::*)(const Call& call);

    static gboolean handleIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    static gboolean handleRead(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    static gboolean handleWrite(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    static void clientGone(gpointer departure, GObject* client);

    gboolean answer(UMockdevIoctlClient* client, Serve serve);
    std::optional<Answer> serveIoctl(const Call& call);
    std::optional<Answer> serveRead(const Call& call);
    std::optional<Answer> refuseWrite(const Call& call);
    UsbfsFile& fileOf(UMockdevIoctlClient* client);
    void forget(const void* client);
    void wake();
    std::unique_ptr<Device> returnedDevice();
    void tellOfDeparture();
    void update();

    std::mutex lock;
    const std::shared_ptr<TransferMemory> memory;
    const DeviceEvents events;
    bool isStopped = false;
    bool haveFilesBeenTold = false;
    bool hasTimer = false;
    const unsigned deviceNumber;
    Readiness readiness;
    WakeTimer timer;
    std::unique_ptr<Port> port;
    std::map<const void*, std::unique_ptr<UsbfsFile>> files;
};

} // namespace tavo::virtualusb
