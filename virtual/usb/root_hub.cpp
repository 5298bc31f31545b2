// SPDX-License-Identifier: LGPL-2.1-or-later
#include "root_hub.h"

#include "device_events.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace tavo::virtualusb {
namespace {

constexpr unsigned kOwnNumber = 1;
constexpr unsigned kLastNumber = 127;
constexpr const char* kPath = "/devices/pci0000:00/0000:00:14.0/usb1";

// What the Linux kernel's own high-speed root hub says of itself, with one hub interface.
constexpr std::array<std::uint8_t, 43> kDescriptors{
    0x12, 0x01, 0x00, 0x02, 0x09, 0x00, 0x01, 0x40, 0x6b, 0x1d, 0x02, 0x00, 0x01, 0x06, 0x03,
    0x02, 0x01, 0x01, 0x09, 0x02, 0x19, 0x00, 0x01, 0x01, 0x00, 0xe0, 0x00, 0x09, 0x04, 0x00,
    0x00, 0x01, 0x09, 0x00, 0x00, 0x00, 0x07, 0x05, 0x81, 0x03, 0x04, 0x00, 0x0c};

} // namespace

RootHub::RootHub(std::uint64_t transferMemory)
    : testbed(std::make_unique<Testbed>()),
      memory(std::make_shared<TransferMemory>(transferMemory)), lastNumber(kOwnNumber) {
    testbed->add({kPath, 0, kOwnNumber}, Descriptors({kDescriptors.begin(), kDescriptors.end()}));
}

unsigned RootHub::plug(std::unique_ptr<Device> device) {
    const std::lock_guard guard(lock);
    return plugInto(freePort(), std::move(device));
}

std::unique_ptr<Device> RootHub::unplug(unsigned number) {
    std::shared_ptr<UsbfsNode> node;
    {
        const std::lock_guard guard(lock);
        if (const auto* occupant = find(number))
            node = occupant->node;
    }
    // Null as well when the device has been gone, and come back under another number, meanwhile.
    auto device = node ? node->unplug() : nullptr;
    if (!device)
        throw std::invalid_argument("no device has the number " + std::to_string(number));
    const std::lock_guard guard(lock);
    occupants.remove_if([&](const Occupant& occupant) { return occupant.place.number == number; });
    return device;
}

void RootHub::close() {
    std::unique_ptr<Testbed> ended;
    std::list<Occupant> former;
    {
        const std::lock_guard guard(lock);
        former.swap(occupants);
        ended.swap(testbed);
    }
    for (const Occupant& occupant : former)
        occupant.node->stop();
}

// REQUIRES: the lock is held.
unsigned RootHub::plugInto(unsigned port, std::unique_ptr<Device> device) {
    auto served = std::make_unique<Port>(std::move(device));
    const unsigned number = newNumber();
    const Place place{std::string(kPath) + "/1-" + std::to_string(port), port, number};
    const Descriptors descriptors = served->descriptors();
    const DeviceEvents events{[hub = weak_from_this(), number] {
                                  if (const auto self = hub.lock())
                                      self->departed(number);
                              },
                              [hub = weak_from_this(), number](std::unique_ptr<Device> back) {
                                  if (const auto self = hub.lock())
                                      self->returned(number, std::move(back));
                              }};
    const auto node = std::make_shared<UsbfsNode>(std::move(served), number,
                                                  testbed->nodePath(place), memory, events);
    testbed->serve(place, node->makeHandler().get());
    testbed->add(place, descriptors);
    occupants.push_back({place, descriptors, node, true});
    announceDevice(testbed->directory(), "add", place.path, udevProperties(place, descriptors));
    return number;
}

unsigned RootHub::freePort() const {
    for (unsigned port = 1; port < kLastNumber; ++port)
        if (std::none_of(occupants.begin(), occupants.end(),
                         [&](const Occupant& occupant) { return occupant.place.port == port; }))
            return port;
    throw std::runtime_error("the virtual USB bus is full: it takes 126 devices");
}

// As the kernel numbers devices: round and round. REQUIRES: a port is free.
unsigned RootHub::newNumber() {
    do {
        lastNumber = lastNumber == kLastNumber ? kOwnNumber + 1 : lastNumber + 1;
    } while (isInUse(lastNumber));
    return lastNumber;
}

RootHub::Occupant* RootHub::find(unsigned number) {
    const auto found =
        std::find_if(occupants.begin(), occupants.end(), [&](const Occupant& occupant) {
            return occupant.present && occupant.place.number == number;
        });
    return found == occupants.end() ? nullptr : &*found;
}

// Also by a device that is away: events of its node go by the number.
bool RootHub::isInUse(unsigned number) const {
    return std::any_of(occupants.begin(), occupants.end(),
                       [&](const Occupant& occupant) { return occupant.place.number == number; });
}

void RootHub::departed(unsigned number) {
    const std::lock_guard guard(lock);
    auto* occupant = find(number);
    if (!occupant)
        return;
    occupant->present = false;
    testbed->remove(occupant->place);
    announceDevice(testbed->directory(), "remove", occupant->place.path,
                   udevProperties(occupant->place, occupant->descriptors));
}

void RootHub::returned(unsigned number, std::unique_ptr<Device> device) {
    const std::lock_guard guard(lock);
    const auto former =
        std::find_if(occupants.begin(), occupants.end(),
                     [&](const Occupant& occupant) { return occupant.place.number == number; });
    if (former == occupants.end())
        return;
    const unsigned port = former->place.port;
    // Its number stays taken until the device has another.
    try {
        device->reset();
        plugInto(port, std::move(device));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cannot plug a device in again: %s\n", error.what());
    }
    occupants.erase(former);
}

} // namespace tavo::virtualusb
