// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standard_requests.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tavo::virtualusb {
namespace {

// bmRequestType and bRequest of the USB specification, in one number.
enum class StandardRequest : std::uint16_t {
    setConfiguration = 0x0009,
    setInterface = 0x010b,
    clearEndpointFeature = 0x0201,
    setEndpointFeature = 0x0203,
    getDeviceStatus = 0x8000,
    getDescriptor = 0x8006,
    getConfiguration = 0x8008,
    getInterfaceStatus = 0x8100,
    getInterface = 0x810a,
    getEndpointStatus = 0x8200,
};

constexpr std::uint16_t kHaltFeature = 0;

StandardRequest kindOf(const SetupPacket& setup) {
    return static_cast<StandardRequest>(setup.requestType << 8 | setup.request);
}

Reply done(std::span<const std::uint8_t> data, std::uint16_t wanted) {
    const auto sent = data.first(std::min<std::size_t>(data.size(), wanted));
    return {Outcome::done, Bytes(sent.begin(), sent.end())};
}

Reply doneByte(unsigned value, std::uint16_t wanted) {
    const Bytes byte{static_cast<std::uint8_t>(value)};
    return done(byte, wanted);
}

std::optional<Reply> descriptor(const SetupPacket& setup, const Descriptors& descriptors) {
    constexpr std::uint16_t firstDevice = 0x0100;
    constexpr std::uint16_t firstConfiguration = 0x0200;
    if (setup.value == firstDevice)
        return done(descriptors.device(), setup.length);
    if (setup.value == firstConfiguration)
        return done(descriptors.configuration(), setup.length);
    return std::nullopt;
}

} // namespace

bool isSetInterface(const SetupPacket& setup) {
    return kindOf(setup) == StandardRequest::setInterface;
}

bool isSetHalt(const SetupPacket& setup) {
    return kindOf(setup) == StandardRequest::setEndpointFeature && setup.value == kHaltFeature;
}

bool isClearHalt(const SetupPacket& setup) {
    return kindOf(setup) == StandardRequest::clearEndpointFeature && setup.value == kHaltFeature;
}

bool asksForHalt(const SetupPacket& setup) {
    return kindOf(setup) == StandardRequest::getEndpointStatus;
}

SetupPacket clearHaltRequest(std::uint8_t endpoint) {
    return {0x02, 0x01, kHaltFeature, endpoint, 0};
}

std::optional<Reply> answerStandardRequest(const SetupPacket& setup, const Descriptors& descriptors,
                                           unsigned setting) {
    switch (kindOf(setup)) {
    case StandardRequest::getDescriptor: return descriptor(setup, descriptors);
    case StandardRequest::getConfiguration:
        return doneByte(descriptors.configurationValue(), setup.length);
    case StandardRequest::getInterface:
        if (!descriptors.hasInterface(setup.index))
            return Reply{Outcome::stalled, {}};
        return doneByte(setting, setup.length);
    case StandardRequest::getDeviceStatus:
    case StandardRequest::getInterfaceStatus:
    case StandardRequest::getEndpointStatus: return done(Bytes{0, 0}, setup.length);
    case StandardRequest::clearEndpointFeature:
    case StandardRequest::setEndpointFeature: return Reply{Outcome::done, {}};
    case StandardRequest::setConfiguration: {
        const bool known = setup.value == descriptors.configurationValue();
        return Reply{known ? Outcome::done : Outcome::stalled, {}};
    }
    case StandardRequest::setInterface: break; // changes the device's state: not answered alone
    }
    return std::nullopt;
}

bool settle(Transfer& transfer, Reply reply) {
    if (reply.outcome == Outcome::nothing)
        return false;
    if (reply.outcome == Outcome::stalled || reply.outcome == Outcome::gone) {
        transfer.status = reply.outcome == Outcome::gone ? -ESHUTDOWN : -EPIPE;
        return true;
    }
    if (!towardsHost(transfer)) {
        transfer.moved = static_cast<std::uint32_t>(transfer.out.size());
        return true;
    }
    if (reply.data.size() > transfer.length) {
        // The packet that does not fit is lost as a whole.
        const std::uint32_t rest =
            transfer.packetSize == 0 ? 0 : transfer.length % transfer.packetSize;
        reply.data.resize(transfer.length - rest);
        transfer.status = -EOVERFLOW;
    } else if (reply.data.size() < transfer.length && transfer.shortIsError) {
        transfer.status = -EREMOTEIO;
    }
    transfer.moved = static_cast<std::uint32_t>(reply.data.size());
    transfer.in = std::move(reply.data);
    return true;
}

} // namespace tavo::virtualusb
