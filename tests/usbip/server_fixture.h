// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "client.h"
#include "echo_device.h"
#include "usbip/server.h"
#include "usbip/socket_address.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace tavo::usbiptest {

// What a server has told; filled from its thread.
class LogLines {
public:
    void add(const std::string& line) {
        const std::lock_guard guard(mutex);
        lines.push_back(line);
        added.notify_all();
    }
    // False when no line with this text comes for a long time.
    bool waitFor(const std::string& text) {
        std::unique_lock lock(mutex);
        return added.wait_for(lock, std::chrono::seconds(30), [&] { return contains(text); });
    }

private:
    bool contains(const std::string& text) const {
        for (const std::string& line : lines)
            if (line.find(text) != std::string::npos)
                return true;
        return false;
    }

    std::mutex mutex;
    std::condition_variable added;
    std::vector<std::string> lines;
};

// A server of two echo devices, 1-1 and 1-2, at a free port of the loopback interface.
class ServerTest : public testing::Test {
protected:
    ServerTest() : server(twoDevices(), [this](const std::string& line) { log.add(line); }) {
        auto listener = usbip::listenOn({"127.0.0.1", "0"});
        port = usbip::boundAddress(listener).port;
        server.listen(std::move(listener));
        server.start();
    }

    static std::vector<std::unique_ptr<virtualusb::Device>> twoDevices() {
        std::vector<std::unique_ptr<virtualusb::Device>> devices;
        devices.push_back(makeEchoDevice());
        devices.push_back(makeEchoDevice());
        return devices;
    }

    Client connect() const { return Client(port); }
    Client imported(const std::string& busId = "1-1") const {
        Client client(port);
        client.importWithEndpoints(busId);
        return client;
    }
    static unsigned settingOf(Client& client) {
        return client.control(vendorIn(kState, 2)).data.at(0);
    }
    static unsigned resetsOf(Client& client) {
        return client.control(vendorIn(kState, 2)).data.at(1);
    }

    LogLines log;
    usbip::Server server;
    std::string port;
};

} // namespace tavo::usbiptest
