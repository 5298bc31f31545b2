// SPDX-License-Identifier: LGPL-2.1-or-later
#include "faulty_device.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

namespace tavo::virtualusb {

namespace {

// Keys of the control pipe's two directions, which no bulk endpoint has.
constexpr std::uint8_t kControlOut = 0x00;
constexpr std::uint8_t kControlIn = 0x80;

const char* name(Fault::Where where) {
    switch (where) {
    case Fault::Where::bulkIn: return "bulk-in";
    case Fault::Where::bulkOut: return "bulk-out";
    case Fault::Where::controlIn: return "control-in";
    case Fault::Where::controlOut: return "control-out";
    }
    return "";
}

const char* name(Fault::Kind kind) {
    switch (kind) {
    case Fault::Kind::timeout: return "no answer";
    case Fault::Kind::stall: return "stall";
    case Fault::Kind::shortPacket: return "cut short";
    case Fault::Kind::corrupt: return "corrupted";
    case Fault::Kind::late: return "late";
    }
    return "";
}

} // namespace

HostTime steadyHostTime() {
    return [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(now).count());
    };
}

FaultyDevice::FaultyDevice(std::unique_ptr<Device> device_, FaultPlan plan_, HostTime hostTime_,
                           std::function<void(const std::string&)> log_)
    : device(std::move(device_)), plan(std::move(plan_)), hostTime(std::move(hostTime_)),
      log(std::move(log_)), dice(plan.seed) {}

const FaultyDevice::Decision* FaultyDevice::decide(Fault::Where where, std::uint8_t endpoint) {
    if (unplugged)
        return nullptr;
    const auto known = decisions.find(endpoint);
    if (known != decisions.end())
        return &known->second;
    if (plan.unplugAfter && ++requests == *plan.unplugAfter) {
        unplug();
        return nullptr;
    }
    return &decisions.emplace(endpoint, throwDice(where, endpoint)).first->second;
}

FaultyDevice::Decision FaultyDevice::throwDice(Fault::Where where, std::uint8_t endpoint) {
    Decision decision;
    for (const Fault& fault : plan.faults) {
        if (fault.where != where)
            continue;
        constexpr double kStep = 0x1p-53; // the dice's upper 53 bits make a number from 0 to 1
        const bool strikes = static_cast<double>(dice() >> 11) * kStep < fault.probability;
        if (strikes && !decision.fault)
            decision = {fault, hostTime() + fault.delay, dice(), dice()};
    }
    if (decision.fault && log) {
        char text[64];
        std::snprintf(text, sizeof text, "fault: %s 0x%02x: %s", name(where), unsigned{endpoint},
                      name(decision.fault->kind));
        log(text);
    }
    return decision;
}

bool FaultyDevice::withheld(const Decision& decision) const {
    if (!decision.fault)
        return false;
    if (decision.fault->kind == Fault::Kind::timeout)
        return true;
    return decision.fault->kind == Fault::Kind::late && hostTime() < decision.due;
}

Bytes FaultyDevice::spoilt(Bytes data, const Decision& decision) {
    if (data.empty())
        return data;
    const std::size_t place = decision.place % data.size();
    if (decision.fault->kind == Fault::Kind::shortPacket)
        data.resize(place);
    if (decision.fault->kind == Fault::Kind::corrupt)
        data[place] ^= static_cast<std::uint8_t>(1 + decision.change % 255);
    return data;
}

void FaultyDevice::unplug() {
    unplugged = true;
    unpluggedAt = hostTime();
    decisions.clear();
    if (log)
        log("fault: unplugged after " + std::to_string(requests) + " requests");
}

Outcome FaultyDevice::send(Fault::Where where, std::uint8_t endpoint,
                           std::span<const std::uint8_t> data,
                           const std::function<Outcome(std::span<const std::uint8_t>)>& forward) {
    const Decision* decision = decide(where, endpoint);
    if (!decision)
        return Outcome::gone;
    if (withheld(*decision))
        return Outcome::nothing;
    Outcome outcome = Outcome::stalled;
    if (!decision->fault)
        outcome = forward(data);
    else if (decision->fault->kind != Fault::Kind::stall)
        outcome = forward(spoilt(Bytes(data.begin(), data.end()), *decision));
    if (outcome != Outcome::nothing)
        decisions.erase(endpoint);
    return outcome;
}

Reply FaultyDevice::ask(Fault::Where where, std::uint8_t endpoint,
                        const std::function<Reply()>& forward) {
    const Decision* decision = decide(where, endpoint);
    if (!decision)
        return {Outcome::gone, {}};
    if (withheld(*decision))
        return {};
    Reply reply{Outcome::stalled, {}};
    if (!decision->fault || decision->fault->kind != Fault::Kind::stall)
        reply = forward();
    if (reply.outcome == Outcome::done && decision->fault)
        reply.data = spoilt(std::move(reply.data), *decision);
    if (reply.outcome != Outcome::nothing)
        decisions.erase(endpoint);
    return reply;
}

Outcome FaultyDevice::setAlternateSetting(unsigned interface, unsigned setting) {
    return unplugged ? Outcome::gone : device->setAlternateSetting(interface, setting);
}

Outcome FaultyDevice::controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) {
    if (!isVendor(setup))
        return unplugged ? Outcome::gone : device->controlOut(setup, data);
    return send(Fault::Where::controlOut, kControlOut, data,
                [&](std::span<const std::uint8_t> bytes) {
                    SetupPacket shortened = setup;
                    shortened.length = static_cast<std::uint16_t>(bytes.size());
                    return device->controlOut(shortened, bytes);
                });
}

Reply FaultyDevice::controlIn(const SetupPacket& setup) {
    if (!isVendor(setup))
        return unplugged ? Reply{Outcome::gone, {}} : device->controlIn(setup);
    return ask(Fault::Where::controlIn, kControlIn, [&] { return device->controlIn(setup); });
}

Outcome FaultyDevice::bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) {
    return send(Fault::Where::bulkOut, endpoint, data, [&](std::span<const std::uint8_t> bytes) {
        return device->bulkOut(endpoint, bytes);
    });
}

Reply FaultyDevice::bulkIn(std::uint8_t endpoint, std::uint32_t length) {
    return ask(Fault::Where::bulkIn, endpoint, [&] { return device->bulkIn(endpoint, length); });
}

void FaultyDevice::cancelled(std::uint8_t endpoint) {
    if (unplugged)
        return;
    decisions.erase(endpoint);
    device->cancelled(endpoint);
}

std::optional<std::uint64_t> FaultyDevice::wakeIn() const {
    const std::uint64_t now = hostTime();
    const auto until = [now](std::uint64_t due) { return due - std::min(due, now); };
    if (unplugged)
        return plan.replugDelay ? std::optional{until(unpluggedAt + *plan.replugDelay)}
                                : std::nullopt;
    std::optional<std::uint64_t> earliest = device->wakeIn();
    for (const auto& [endpoint, decision] : decisions)
        if (decision.fault && decision.fault->kind == Fault::Kind::late && now < decision.due)
            earliest = std::min(earliest.value_or(until(decision.due)), until(decision.due));
    return earliest;
}

bool FaultyDevice::isBack() const {
    return plan.replugDelay && hostTime() >= unpluggedAt + *plan.replugDelay;
}

// No reset reaches a device that is unplugged. Once plugged in again it stays.
void FaultyDevice::reset() {
    if (unplugged && !isBack())
        return;
    unplugged = false;
    decisions.clear();
    device->reset();
}

} // namespace tavo::virtualusb
