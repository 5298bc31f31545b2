// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The control requests of a session: those that change what the host has set in the device are
// answered here, the rest by the descriptors or by the device.
#include "device_session.h"

#include <algorithm>

namespace tavo::usbip {

using virtualusb::Outcome;

namespace {

// bmRequestType and bRequest of the USB specification, in one number.
constexpr unsigned kSetAddress = 0x0005;
constexpr unsigned kSetConfiguration = 0x0009;
constexpr unsigned kSetInterface = 0x010b;
constexpr unsigned kClearEndpointFeature = 0x0201;
constexpr unsigned kSetEndpointFeature = 0x0203;
constexpr unsigned kSetPortFeature = 0x2303;
constexpr unsigned kGetDescriptor = 0x8006;
constexpr unsigned kGetConfiguration = 0x8008;
constexpr unsigned kGetEndpointStatus = 0x8200;

constexpr std::uint16_t kEndpointHalt = 0;
constexpr std::uint16_t kPortReset = 4;
constexpr std::uint16_t kDeviceDescriptor = 0x0100;

constexpr unsigned kindOf(const SetupPacket& setup) {
    return static_cast<unsigned>(setup.requestType << 8 | setup.request);
}

virtualusb::Reply doneWith(Bytes data, std::size_t wanted) {
    data.resize(std::min(data.size(), wanted));
    return {Outcome::done, std::move(data)};
}

std::uint8_t endpointOf(const SetupPacket& setup) {
    return static_cast<std::uint8_t>(setup.index & 0xff);
}

} // namespace

// A host's own checks keep the setup packet and the request of one length and direction; anything
// else is refused, as the device may rely on it.
DeviceSession::Reply DeviceSession::attemptControl(const Transfer& transfer) {
    SetupPacket setup = transfer.setup;
    const bool in = (setup.requestType & virtualusb::kDirectionIn) != 0;
    const bool wantsData = (transfer.endpoint & virtualusb::kDirectionIn) != 0;
    if (setup.length != 0 && in != wantsData)
        return {Outcome::stalled, {}};
    if (in)
        setup.length =
            static_cast<std::uint16_t>(std::min<std::uint32_t>(setup.length, transfer.length));
    else if (transfer.out.size() != setup.length)
        return {Outcome::stalled, {}};
    return answerControl(setup, transfer.out);
}

DeviceSession::Reply DeviceSession::answerControl(const SetupPacket& setup,
                                                  std::span<const std::uint8_t> out) {
    if (tellsOfReset(setup))
        reset();
    switch (kindOf(setup)) {
    case kSetAddress: return {Outcome::done, {}};
    case kSetConfiguration: return {setConfiguration(setup.value), {}};
    case kGetConfiguration:
        return doneWith({static_cast<std::uint8_t>(configuration)}, setup.length);
    case kSetInterface: return {setInterface(setup.index, setup.value), {}};
    case kClearEndpointFeature: return {setHalt(setup, false), {}};
    case kSetEndpointFeature: return {setHalt(setup, true), {}};
    case kSetPortFeature: return {setup.value == kPortReset ? Outcome::done : Outcome::stalled, {}};
    case kGetEndpointStatus:
        return doneWith({halted.contains(endpointOf(setup)) ? std::uint8_t{1} : std::uint8_t{0}, 0},
                        setup.length);
    default: break;
    }
    if (auto reply = answerStandardRequest(setup, descriptors, settingOf(setup.index)))
        return std::move(*reply);
    if ((setup.requestType & virtualusb::kDirectionIn) != 0)
        return device.controlIn(setup);
    return {device.controlOut(setup, out), {}};
}

Outcome DeviceSession::setConfiguration(unsigned value) {
    if (value != 0 && value != descriptors.configurationValue())
        return Outcome::stalled;
    // Choosing a configuration, be it the same again, puts all interfaces into setting 0.
    for (unsigned interface = 0; interface < descriptors.interfaceCount(); ++interface) {
        if (!descriptors.setting(interface, 0))
            continue;
        const Outcome outcome = device.setAlternateSetting(interface, 0);
        if (outcome != Outcome::done)
            return outcome;
    }
    chosenSettings.clear();
    halted.clear();
    configuration = value;
    return Outcome::done;
}

Outcome DeviceSession::setInterface(unsigned interface, unsigned setting) {
    if (configuration == 0 || !descriptors.setting(interface, setting))
        return Outcome::stalled;
    const Outcome outcome = device.setAlternateSetting(interface, setting);
    if (outcome != Outcome::done)
        return outcome;
    chosenSettings[interface] = setting;
    unhalt(interface);
    return Outcome::done;
}

Outcome DeviceSession::setHalt(const SetupPacket& setup, bool isHalted) {
    const std::uint8_t address = endpointOf(setup);
    const bool isControl = (address & 0x0f) == 0;
    if (setup.value != kEndpointHalt || (!isControl && !findEndpoint(address)))
        return Outcome::stalled;
    if (isControl)
        return Outcome::done; // its halts end with the next request
    const Outcome outcome = device.controlOut(setup, {});
    if (outcome != Outcome::done)
        return outcome;
    if (isHalted)
        halted.insert(address);
    else
        halted.erase(address);
    return Outcome::done;
}

void DeviceSession::unhalt(unsigned interface) {
    std::erase_if(halted, [&](std::uint8_t address) {
        return descriptors.interfaceOf(address) == interface;
    });
}

// A client's kernel resets its own port and gives the new address without telling the server. What
// can be seen of a reset is the first request after it: nothing but an enumeration asks for 64
// bytes of the 18 of a device descriptor. Other clients send the request to the port.
bool DeviceSession::tellsOfReset(const SetupPacket& setup) const {
    constexpr std::uint16_t enumerationLength = 64;
    if (kindOf(setup) == kSetPortFeature)
        return setup.value == kPortReset;
    return kindOf(setup) == kGetDescriptor && setup.value == kDeviceDescriptor &&
           setup.length == enumerationLength && configuration != 0;
}

void DeviceSession::reset() {
    device.reset();
    configuration = 0;
    chosenSettings.clear();
    halted.clear();
}

} // namespace tavo::usbip
