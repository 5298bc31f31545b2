// SPDX-License-Identifier: LGPL-2.1-or-later
#include "port.h"

#include "standard_requests.h"

#include <cerrno>
#include <utility>

namespace tavo::virtualusb {
namespace {

// The file system keeps claims in a word of this many bits.
constexpr unsigned kMaxInterfaces = 32;

int errorOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::done: return 0;
    case Outcome::stalled: return EPIPE;
    case Outcome::nothing: return ETIMEDOUT;
    case Outcome::gone: break;
    }
    return ENODEV;
}

} // namespace

Port::Port(std::unique_ptr<Device> plugged)
    : device(std::move(plugged)), descriptorTree(device->descriptors()) {}

std::unique_ptr<Device> Port::unplug() {
    depart();
    return std::move(device);
}

void Port::depart() {
    if (std::exchange(gone, true))
        return;
    claims.clear();
    if (departed)
        departed();
    while (!pending.empty())
        cancel(pending.begin(), -ESHUTDOWN);
}

std::optional<Clock::time_point> Port::returnsAt() const {
    const auto pause = gone && device ? device->wakeIn() : std::nullopt;
    if (!pause)
        return std::nullopt;
    return Clock::now() + boundedPause(*pause);
}

bool Port::isBack() const {
    return gone && device && device->wakeIn() == 0;
}

FileNumber Port::openFile() {
    return ++lastFile;
}

void Port::closeFile(FileNumber file) {
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        if (current->file != file)
            continue;
        current->finished = {};
        cancel(current, -ENOENT);
    }
    for (unsigned interface = 0; interface < kMaxInterfaces; ++interface)
        if (holds(file, interface))
            release(file, interface);
    std::erase_if(endedEarly, [&](const auto& ended) { return ended.first == file; });
}

// Any request that needs a claim makes it by itself, as the kernel does.
int Port::claim(FileNumber file, unsigned interface) {
    if (gone)
        return ENODEV;
    if (interface >= kMaxInterfaces)
        return EINVAL;
    if (!descriptorTree.hasInterface(interface))
        return ENOENT;
    const auto [holder, isNew] = claims.try_emplace(interface, file);
    return isNew || holder->second == file ? 0 : EBUSY;
}

int Port::release(FileNumber file, unsigned interface) {
    if (gone)
        return ENODEV;
    if (interface >= kMaxInterfaces)
        return EINVAL;
    if (!descriptorTree.hasInterface(interface))
        return ENOENT;
    if (!holds(file, interface))
        return EINVAL;
    cancelInterface(file, interface);
    claims.erase(interface);
    // A device that refuses keeps its setting; the interface is released all the same.
    if (settingOf(interface) != 0)
        chooseSetting(interface, 0);
    return 0;
}

int Port::unbind(unsigned interface) {
    if (!descriptorTree.hasInterface(interface))
        return EINVAL;
    const auto holder = claims.find(interface);
    return holder == claims.end() ? ENODATA : release(holder->second, interface);
}

int Port::setInterface(FileNumber file, unsigned interface, unsigned setting) {
    if (const int error = claim(file, interface))
        return error;
    if (!descriptorTree.setting(interface, setting))
        return EINVAL;
    cancelInterface(file, interface);
    return chooseSetting(interface, setting);
}

int Port::setConfiguration(unsigned value) {
    if (gone)
        return ENODEV;
    if (value != descriptorTree.configurationValue())
        return EINVAL;
    if (!claims.empty())
        return EBUSY;
    for (unsigned interface = 0; interface < kMaxInterfaces; ++interface) {
        if (!descriptorTree.setting(interface, 0))
            continue;
        if (const int error = chooseSetting(interface, 0))
            return error;
    }
    return 0;
}

// REQUIRES: the setting exists.
int Port::chooseSetting(unsigned interface, unsigned setting) {
    const Outcome outcome = setAlternateSetting(interface, setting);
    if (outcome == Outcome::gone)
        depart();
    service();
    return errorOf(outcome);
}

Outcome Port::setAlternateSetting(unsigned interface, unsigned setting) {
    const Outcome outcome = device->setAlternateSetting(interface, setting);
    if (outcome != Outcome::done)
        return outcome;
    chosenSettings[interface] = setting;
    std::erase_if(halted, [&](std::uint8_t endpoint) {
        return descriptorTree.interfaceOf(endpoint) == interface;
    });
    return outcome;
}

int Port::clearHalt(FileNumber file, unsigned endpoint) {
    if (const int error = checkEndpoint(file, endpoint))
        return error;
    const auto address = static_cast<std::uint8_t>(endpoint);
    const Outcome outcome = device->controlOut(clearHaltRequest(address), {});
    if (outcome == Outcome::gone)
        depart();
    if (outcome == Outcome::done)
        halted.erase(address);
    service();
    return errorOf(outcome);
}

int Port::resetEndpoint(FileNumber file, unsigned endpoint) {
    return checkEndpoint(file, endpoint);
}

void Port::reset() {
    if (gone)
        return;
    while (!pending.empty())
        cancel(pending.begin(), -ENOENT);
    claims.clear();
    chosenSettings.clear();
    halted.clear();
    endedEarly.clear();
    device->reset();
}

int Port::checkEndpoint(FileNumber file, unsigned endpoint) {
    if (gone)
        return ENODEV;
    if (endpoint > 0xff)
        return EINVAL;
    const auto interface = descriptorTree.interfaceOf(static_cast<std::uint8_t>(endpoint));
    return interface ? claim(file, *interface) : ENOENT;
}

int Port::checkControl(const Transfer& transfer) {
    constexpr std::uint8_t typeMask = 0x60;
    constexpr std::uint8_t vendorType = 0x40;
    constexpr std::uint8_t recipientMask = 0x1f;
    const std::uint8_t requestType = transfer.setup.requestType;
    if ((requestType & typeMask) == vendorType)
        return 0;
    const auto index = static_cast<std::uint8_t>(transfer.setup.index & 0xff);
    if ((requestType & recipientMask) == 1)
        return claim(transfer.file, index);
    if ((requestType & recipientMask) == 2 && (index & 0x0f) != 0)
        return checkEndpoint(transfer.file, index);
    return 0;
}

int Port::checkBulk(Transfer& transfer) {
    if ((transfer.endpoint & 0x70) != 0)
        return EINVAL;
    const auto interface = descriptorTree.interfaceOf(transfer.endpoint);
    if (!interface)
        return ENOENT;
    if (const int error = claim(transfer.file, *interface))
        return error;
    const auto* endpoint = findChosen(*interface, transfer.endpoint);
    if (!endpoint)
        return ENOENT;
    if (endpoint->kind != EndpointKind::bulk && endpoint->kind != EndpointKind::interrupt)
        return EINVAL;
    transfer.packetSize = endpoint->packetSize;

    const std::pair key{transfer.file, transfer.endpoint};
    if (!transfer.continuation)
        endedEarly.erase(key);
    return endedEarly.contains(key) ? EREMOTEIO : 0;
}

const EndpointDescription* Port::findChosen(unsigned interface, std::uint8_t endpoint) const {
    const auto* setting = descriptorTree.setting(interface, settingOf(interface));
    return setting ? findEndpoint(*setting, endpoint) : nullptr;
}

unsigned Port::settingOf(unsigned interface) const {
    const auto chosen = chosenSettings.find(interface);
    return chosen == chosenSettings.end() ? 0 : chosen->second;
}

bool Port::holds(FileNumber file, unsigned interface) const {
    const auto claimed = claims.find(interface);
    return claimed != claims.end() && claimed->second == file;
}

std::optional<unsigned> Port::interfaceOf(const Transfer& transfer) const {
    return transfer.control ? std::nullopt : descriptorTree.interfaceOf(transfer.endpoint);
}

} // namespace tavo::virtualusb
