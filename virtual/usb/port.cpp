// SPDX-License-Identifier: LGPL-2.1-or-later
#include "port.h"

#include <cerrno>
#include <utility>

namespace tavo::virtualusb {
namespace {

// The file system keeps claims in a word of this many bits.
constexpr unsigned kMaxInterfaces = 32;

} // namespace

Port::Port(std::unique_ptr<Device> plugged)
    : device(std::move(plugged)), descriptorTree(device->descriptors()) {}

FileNumber Port::openFile() {
    return ++lastFile;
}

void Port::closeFile(FileNumber file) {
    pending.remove_if([&](const Transfer& transfer) { return transfer.file == file; });
    std::erase_if(claims, [&](const auto& claimed) { return claimed.second == file; });
    std::erase_if(endedEarly, [&](const auto& ended) { return ended.first == file; });
}

int Port::claim(FileNumber file, unsigned interface) {
    if (interface >= kMaxInterfaces)
        return EINVAL;
    if (!descriptorTree.hasInterface(interface))
        return ENOENT;
    const auto [holder, isNew] = claims.try_emplace(interface, file);
    return isNew || holder->second == file ? 0 : EBUSY;
}

int Port::release(FileNumber file, unsigned interface) {
    if (interface >= kMaxInterfaces)
        return EINVAL;
    if (!descriptorTree.hasInterface(interface))
        return ENOENT;
    if (!holds(file, interface))
        return EINVAL;
    cancelInterface(file, interface);
    claims.erase(interface);
    return 0;
}

int Port::unbind(unsigned interface) {
    if (!descriptorTree.hasInterface(interface))
        return EINVAL;
    const auto holder = claims.find(interface);
    return holder == claims.end() ? ENODATA : release(holder->second, interface);
}

int Port::setInterface(FileNumber file, unsigned interface, unsigned setting) {
    if (const int error = checkClaim(file, interface))
        return error;
    if (!descriptorTree.setting(interface, setting))
        return EINVAL;
    cancelInterface(file, interface);
    if (device->setAlternateSetting(interface, setting) != Outcome::done)
        return EPIPE;
    chosenSettings[interface] = setting;
    service();
    return 0;
}

int Port::setConfiguration(unsigned value) {
    if (value != descriptorTree.configurationValue())
        return EINVAL;
    if (!claims.empty())
        return EBUSY;
    for (unsigned interface = 0; interface < kMaxInterfaces; ++interface) {
        if (!descriptorTree.setting(interface, 0))
            continue;
        if (device->setAlternateSetting(interface, 0) != Outcome::done)
            return EPIPE;
        chosenSettings[interface] = 0;
    }
    return 0;
}

int Port::clearHalt(FileNumber file, unsigned endpoint) const {
    if (endpoint > 0xff)
        return EINVAL;
    const auto interface = descriptorTree.interfaceOf(static_cast<std::uint8_t>(endpoint));
    return interface ? checkClaim(file, *interface) : ENOENT;
}

void Port::reset() {
    while (!pending.empty())
        cancel(pending.begin(), -ENOENT);
    claims.clear();
    chosenSettings.clear();
    endedEarly.clear();
    device->reset();
}

// The kernel claims an interface by itself for a program that forgot to; here that program is told.
int Port::checkClaim(FileNumber file, unsigned interface) const {
    if (interface >= kMaxInterfaces || !descriptorTree.hasInterface(interface))
        return EINVAL;
    if (holds(file, interface))
        return 0;
    return claims.contains(interface) ? EBUSY : EINVAL;
}

int Port::checkControl(const Transfer& transfer) const {
    constexpr std::uint8_t typeMask = 0x60;
    constexpr std::uint8_t vendorType = 0x40;
    constexpr std::uint8_t recipientMask = 0x1f;
    const std::uint8_t requestType = transfer.setup.requestType;
    if ((requestType & typeMask) == vendorType)
        return 0;
    const auto index = static_cast<std::uint8_t>(transfer.setup.index & 0xff);
    if ((requestType & recipientMask) == 1)
        return checkClaim(transfer.file, index);
    if ((requestType & recipientMask) == 2 && (index & 0x0f) != 0) {
        const auto interface = descriptorTree.interfaceOf(index);
        return interface ? checkClaim(transfer.file, *interface) : ENOENT;
    }
    return 0;
}

int Port::checkBulk(const Transfer& transfer) {
    if ((transfer.endpoint & 0x70) != 0)
        return EINVAL;
    const auto interface = descriptorTree.interfaceOf(transfer.endpoint);
    if (!interface)
        return ENOENT;
    if (const int error = checkClaim(transfer.file, *interface))
        return error;
    const auto chosen = chosenSettings.find(*interface);
    const auto* setting =
        descriptorTree.setting(*interface, chosen == chosenSettings.end() ? 0 : chosen->second);
    const auto* endpoint = setting ? findEndpoint(*setting, transfer.endpoint) : nullptr;
    if (!endpoint)
        return ENOENT;
    if (endpoint->kind != EndpointKind::bulk && endpoint->kind != EndpointKind::interrupt)
        return EINVAL;

    const std::pair key{transfer.file, transfer.endpoint};
    if (!transfer.continuation)
        endedEarly.erase(key);
    return endedEarly.contains(key) ? EREMOTEIO : 0;
}

bool Port::holds(FileNumber file, unsigned interface) const {
    const auto claimed = claims.find(interface);
    return claimed != claims.end() && claimed->second == file;
}

std::optional<unsigned> Port::interfaceOf(const Transfer& transfer) const {
    return transfer.control ? std::nullopt : descriptorTree.interfaceOf(transfer.endpoint);
}

} // namespace tavo::virtualusb
