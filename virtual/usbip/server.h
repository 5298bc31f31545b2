// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Serves devices to USB/IP clients from one thread of its own, in one poll loop: the devices are
// called from that thread alone once the server has started.
#pragma once

#include "connection.h"

#include <deque>
#include <list>
#include <memory>
#include <thread>
#include <vector>

namespace tavo::usbip {

class Server {
public:
    // Asked from the server's thread, when a device that was unplugged is plugged in again, for the
    // socket of a client that is to have it at once; none: any client may import it.
    using Returned = std::function<FileDescriptor(const DeviceRecord&)>;

    // The devices get the bus ids 1-1, 1-2 and so on. `log` is called from the server's thread.
    // Throws std::invalid_argument for malformed descriptors, std::system_error.
    Server(std::vector<std::unique_ptr<virtualusb::Device>> devices, Log log);
    // Hangs up on all clients.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::vector<DeviceRecord> records() const;

    // Before start() only.
    void listen(FileDescriptor listeningSocket);
    void whenReturned(Returned handler) { returned = std::move(handler); }
    // Serves a client that has imported the device of that bus id by other means.
    void serve(const std::string& busId, FileDescriptor socket);

    void start();
    // Ends the thread; the clients see their connections closed. May be called more than once.
    void stop();

private:
    void run();
    void waitAndServe();
    std::optional<Clock::time_point> nextService() const;
    void accept();
    void serveConnection(Connection& connection, short found);
    void plugReturnedDevices();

    std::deque<ExportedDevice> devices;
    Log log;
    Returned returned;
    FileDescriptor listener;
    FileDescriptor stopEvent;
    std::list<Connection> connections;
    std::thread thread;
};

} // namespace tavo::usbip
