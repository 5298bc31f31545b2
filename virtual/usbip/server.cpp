// SPDX-License-Identifier: LGPL-2.1-or-later
#include "server.h"

#include "socket_address.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace tavo::usbip {
namespace {

constexpr std::size_t kMostConnections = 64;

timespec timeUntil(Clock::time_point time) {
    using namespace std::chrono;
    const auto left = std::max(duration_cast<nanoseconds>(time - Clock::now()), 0ns);
    return {left.count() / 1'000'000'000, left.count() % 1'000'000'000};
}

} // namespace

Server::Server(std::vector<std::unique_ptr<virtualusb::Device>> exported, Log teller)
    : log(std::move(teller)), stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!stopEvent)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    for (auto& device : exported)
        devices.emplace_back(std::move(device), static_cast<unsigned>(devices.size() + 1));
}

Server::~Server() {
    stop();
}

std::vector<DeviceRecord> Server::records() const {
    std::vector<DeviceRecord> result;
    for (const ExportedDevice& device : devices)
        result.push_back(device.record());
    return result;
}

void Server::listen(FileDescriptor listeningSocket) {
    listener = std::move(listeningSocket);
}

void Server::serve(const std::string& busId, FileDescriptor socket) {
    for (ExportedDevice& device : devices) {
        if (device.record().busId != busId)
            continue;
        if (device.acquire() != OperationStatus::ok)
            throw std::logic_error("device " + busId + " is imported already");
        connections.emplace_back(std::move(socket), "this computer", devices, log, device);
        return;
    }
    throw std::out_of_range("there is no device " + busId);
}

void Server::start() {
    thread = std::thread([this] { run(); });
}

void Server::stop() {
    if (!thread.joinable())
        return;
    eventfd_write(stopEvent.get(), 1);
    thread.join();
}

void Server::run() {
    eventfd_t stopped = 0;
    while (eventfd_read(stopEvent.get(), &stopped) != 0) {
        try {
            waitAndServe();
        } catch (const std::exception& error) {
            log(std::string("cannot go on for now: ") + error.what());
        }
    }
    connections.clear();
    listener = FileDescriptor(); // hangs up on those who wait to be accepted, too
}

void Server::waitAndServe() {
    std::vector<pollfd> files{{stopEvent.get(), POLLIN, 0}};
    files.push_back({connections.size() < kMostConnections ? listener.get() : -1, POLLIN, 0});
    for (const Connection& connection : connections)
        files.push_back({connection.descriptor(), connection.events(), 0});
    const auto next = nextService();
    const timespec time = next ? timeUntil(*next) : timespec{};
    if (ppoll(files.data(), files.size(), next ? &time : nullptr, nullptr) < 0)
        return; // interrupted
    auto file = files.begin() + 2;
    for (Connection& connection : connections)
        serveConnection(connection, (file++)->revents);
    connections.remove_if([](const Connection& connection) { return connection.isOver(); });
    plugReturnedDevices();
    if (files[1].revents != 0)
        accept();
}

std::optional<Clock::time_point> Server::nextService() const {
    std::optional<Clock::time_point> next;
    const auto sooner = [&](std::optional<Clock::time_point> time) {
        if (time)
            next = next ? std::min(*next, *time) : *time;
    };
    for (const Connection& connection : connections)
        sooner(connection.nextService());
    for (const ExportedDevice& device : devices)
        sooner(device.returnsAt());
    return next;
}

void Server::serveConnection(Connection& connection, short found) {
    try {
        connection.serve(found);
    } catch (const std::exception& error) {
        connection.fail(std::string("cannot be served: ") + error.what());
    }
}

void Server::accept() {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    FileDescriptor socket(accept4(listener.get(), reinterpret_cast<sockaddr*>(&address), &size,
                                  SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket)
        return;
    sendSmallReplies(socket.get());
    noticeVanishedPeer(socket.get());
    connections.emplace_back(std::move(socket), nameOf(address), devices, log);
}

void Server::plugReturnedDevices() {
    for (ExportedDevice& device : devices) {
        const auto time = device.returnsAt();
        if (!time || *time > Clock::now())
            continue;
        device.comeBack();
        log(device.record().busId + " is plugged in again");
        if (!returned)
            continue;
        if (FileDescriptor socket = returned(device.record()))
            serve(device.record().busId, std::move(socket));
    }
}

} // namespace tavo::usbip
