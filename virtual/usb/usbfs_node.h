// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device node of the testbed: takes the system calls of all host programs that have it open,
// one after the other, to the device in the port behind it.
#pragma once

#include "readiness.h"
#include "usbfs_file.h"
#include "wake_timer.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace tavo::virtualusb {

class UsbfsNode : public std::enable_shared_from_this<UsbfsNode> {
public:
    // Replaces the file at `nodePath`.
    UsbfsNode(std::unique_ptr<Port> port, unsigned deviceNumber, const std::string& nodePath);

    // What umockdev is to call; it keeps this object alive.
    ObjectRef<UMockdevIoctlBase> makeHandler();

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
    void update();

    std::mutex lock;
    bool isStopped = false;
    bool hasTimer = false;
    const unsigned deviceNumber;
    Readiness readiness;
    WakeTimer timer;
    std::unique_ptr<Port> port;
    std::map<const void*, std::unique_ptr<UsbfsFile>> files;
};

} // namespace tavo::virtualusb
