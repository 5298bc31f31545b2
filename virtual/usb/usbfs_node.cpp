// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usbfs_node.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tavo::virtualusb {
namespace {

using NodeRef = std::shared_ptr<UsbfsNode>;

void deleteNodeRef(gpointer reference, GClosure*) {
    delete static_cast<NodeRef*>(reference);
}

template <class Function>
void connect(UMockdevIoctlBase* handler, const char* signal, Function function,
             const NodeRef& node) {
    g_signal_connect_data(handler, signal, G_CALLBACK(function), new NodeRef(node), deleteNodeRef,
                          G_CONNECT_DEFAULT);
}

} // namespace

UsbfsNode::UsbfsNode(std::unique_ptr<Port> served, unsigned deviceAddress,
                     const std::string& nodePath, std::shared_ptr<TransferMemory> sharedMemory,
                     DeviceEvents toCall)
    : memory(std::move(sharedMemory)), events(std::move(toCall)), deviceNumber(deviceAddress),
      readiness(nodePath), port(std::move(served)) {
    port->onDeparture(events.departed);
}

ObjectRef<UMockdevIoctlBase> UsbfsNode::makeHandler() {
    auto handler = ObjectRef<UMockdevIoctlBase>::adopt(umockdev_ioctl_base_new());
    connect(handler.get(), "handle-ioctl", handleIoctl, shared_from_this());
    connect(handler.get(), "handle-read", handleRead, shared_from_this());
    connect(handler.get(), "handle-write", handleWrite, shared_from_this());
    return handler;
}

std::unique_ptr<Device> UsbfsNode::unplug() {
    const std::lock_guard guard(lock);
    if (isStopped)
        return nullptr;
    auto device = port->unplug();
    update();
    return device;
}

void UsbfsNode::stop() {
    // Taken out under the lock and ended outside it: with a call that never got its answer goes
    // its client, which reports its end here.
    std::unique_ptr<Port> endedPort;
    std::map<const void*, std::unique_ptr<UsbfsFile>> endedFiles;
    const std::lock_guard guard(lock);
    isStopped = true;
    timer.stop();
    endedFiles.swap(files);
    endedPort.swap(port);
}

gboolean UsbfsNode::handleIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
    return (*static_cast<NodeRef*>(self))->answer(client, &UsbfsNode::serveIoctl);
}

gboolean UsbfsNode::handleRead(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
    return (*static_cast<NodeRef*>(self))->answer(client, &UsbfsNode::serveRead);
}

gboolean UsbfsNode::handleWrite(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
    return (*static_cast<NodeRef*>(self))->answer(client, &UsbfsNode::refuseWrite);
}

gboolean UsbfsNode::answer(UMockdevIoctlClient* client, Serve serve) {
    const Call call{ObjectRef<UMockdevIoctlClient>::share(client),
                    umockdev_ioctl_client_get_request(client), ClientMemory::argument(client)};
    const std::lock_guard guard(lock);
    if (!std::exchange(hasTimer, true))
        timer.start(g_main_context_get_thread_default(),
                    [self = shared_from_this()] { self->wake(); });
    const auto result = isStopped ? failure(ENODEV) : (this->*serve)(call);
    // Before the client goes on: it may wait for the node at once.
    update();
    if (result)
        call.answer(*result);
    return TRUE;
}

std::optional<Answer> UsbfsNode::serveIoctl(const Call& call) {
    return fileOf(call.client.get()).serve(call);
}

std::optional<Answer> UsbfsNode::serveRead(const Call& call) {
    return fileOf(call.client.get()).read(call);
}

std::optional<Answer> UsbfsNode::refuseWrite(const Call&) {
    return failure(EINVAL);
}

UsbfsFile& UsbfsNode::fileOf(UMockdevIoctlClient* client) {
    auto& file = files[client];
    if (!file) {
        file = std::make_unique<UsbfsFile>(*port, deviceNumber, *memory);
        // The end of the object is the one sign of a closed file that umockdev never omits.
        g_object_weak_ref(G_OBJECT(client), clientGone, new Departure{weak_from_this()});
    }
    return *file;
}

void UsbfsNode::clientGone(gpointer departure, GObject* client) {
    const std::unique_ptr<Departure> owned(static_cast<Departure*>(departure));
    if (const auto node = owned->node.lock())
        node->forget(client);
}

void UsbfsNode::forget(const void* client) {
    const std::lock_guard guard(lock);
    files.erase(client);
    update();
}

void UsbfsNode::wake() {
    if (auto device = returnedDevice())
        events.returned(std::move(device));
}

// Serves the port; the device, if it was gone and is back.
std::unique_ptr<Device> UsbfsNode::returnedDevice() {
    const std::lock_guard guard(lock);
    if (isStopped)
        return nullptr;
    std::unique_ptr<Device> device;
    if (port->isBack())
        device = port->unplug();
    port->service();
    update();
    return device;
}

void UsbfsNode::tellOfDeparture() {
    if (!port->isGone() || std::exchange(haveFilesBeenTold, true))
        return;
    for (const auto& entry : files)
        entry.second->departed();
}

// Sets what depends on the state of the port: the node's readiness and the next wake-up.
void UsbfsNode::update() {
    if (isStopped)
        return;
    tellOfDeparture();
    readiness.set(std::any_of(files.begin(), files.end(),
                              [](const auto& entry) { return entry.second->isReady(); }));
    if (port->isEmpty())
        timer.stop();
    else
        timer.set(port->isGone() ? port->returnsAt() : port->nextService());
}

} // namespace tavo::virtualusb
