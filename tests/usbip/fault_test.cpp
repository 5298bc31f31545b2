// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device that is unplugged by plan: both buses see it go though nobody asks for anything more.
#include "client.h"
#include "echo_device.h"
#include "faults/faulty_device.h"
#include "usb/port.h"
#include "usbip/server.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>

#include <sys/socket.h>

namespace tavo::usbiptest {
namespace {

std::unique_ptr<virtualusb::Device> withPlan(const std::string& plan) {
    virtualusb::FaultPlan faults;
    virtualusb::addFault(faults, plan);
    return std::make_unique<virtualusb::FaultyDevice>(makeEchoDevice(), faults,
                                                      virtualusb::steadyHostTime(), nullptr);
}

virtualusb::Transfer storeRequest() {
    virtualusb::Transfer transfer;
    transfer.control = true;
    transfer.setup = vendorOut(kStore, 0);
    return transfer;
}

TEST(PlannedUnplug, EndsWhatIsPendingAndTheConnection) {
    std::vector<std::unique_ptr<virtualusb::Device>> devices;
    devices.push_back(withPlan("unplug-after:2"));
    usbip::Server server(std::move(devices), [](const std::string&) {});
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    server.serve("1-1", usbip::FileDescriptor(ends[0]));
    server.start();
    Client client{usbip::FileDescriptor(ends[1])};
    client.assume(1, 2);
    client.chooseEndpoints();
    const auto waiting = client.submitIn(kEcho, 8);
    const auto last = client.submitControl(vendorOut(kStore, 0));
    EXPECT_EQ(client.answer(), (Answer{waiting, false, -ESHUTDOWN, {}, 0}));
    EXPECT_EQ(client.answer(), (Answer{last, false, -ESHUTDOWN, {}, 0}));
    EXPECT_TRUE(client.isHungUp());
}

TEST(PlannedUnplug, IsSeenByThePortAtOnce) {
    virtualusb::Port port(withPlan("unplug-after:2"));
    unsigned departures = 0;
    port.onDeparture([&] { ++departures; });
    EXPECT_EQ(port.submit(storeRequest()), 0);
    EXPECT_FALSE(port.isGone());
    port.submit(storeRequest());
    EXPECT_TRUE(port.isGone());
    EXPECT_EQ(departures, 1U);
}

TEST(PlannedUnplug, ComesBackThoughThePortIsReset) {
    virtualusb::Port port(withPlan("unplug-after:1:1"));
    port.submit(storeRequest());
    port.reset();
    EXPECT_EQ(port.submit(storeRequest()), ENODEV);
    while (!port.isBack()) {
    }
    const auto device = port.unplug();
    device->reset();
    EXPECT_EQ(device->controlOut(vendorOut(kStore, 0), {}), virtualusb::Outcome::done);
}

} // namespace
} // namespace tavo::usbiptest
