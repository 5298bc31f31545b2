// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device that goes wrong as planned: stands between the bus and the true device.
#pragma once

#include "../usb/device.h"
#include "fault_plan.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>

namespace tavo::virtualusb {

// The host's time in microseconds.
using HostTime = std::function<std::uint64_t()>;
HostTime steadyHostTime();

// The plan concerns what the host sends to and asks of the device's own functions: bulk transfers
// and vendor requests. What any USB device answers stays true, so that it can be found.
//
// A device that is unplugged leaves the last request of its plan unanswered: by that the bus knows
// at once, and not when somebody asks again.
class FaultyDevice final : public Device {
public:
    // `log`, when set, is told of each fault.
    FaultyDevice(std::unique_ptr<Device> device, FaultPlan plan, HostTime hostTime,
                 std::function<void(const std::string&)> log);

    Bytes descriptors() const override { return device->descriptors(); }
    Outcome setAlternateSetting(unsigned interface, unsigned setting) override;
    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override;
    Reply controlIn(const SetupPacket& setup) override;
    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override;
    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override;
    void cancelled(std::uint8_t endpoint) override;
    std::optional<std::uint64_t> wakeIn() const override;
    void reset() override;

private:
    // What has been decided for the request that an endpoint is at work on. A request is asked
    // again until it is answered, but the dice are thrown once.
    struct Decision {
        std::optional<Fault> fault;
        std::uint64_t due = 0;   // of a late answer
        std::uint64_t place = 0; // dice for the place of a spoilt byte, or of a cut
        std::uint64_t change = 0;
    };

    static bool isVendor(const SetupPacket& setup) { return (setup.requestType & 0x60) == 0x40; }

    // Null when the request is the one that finds the device unplugged.
    const Decision* decide(Fault::Where where, std::uint8_t endpoint);
    Decision throwDice(Fault::Where where, std::uint8_t endpoint);
    void unplug();
    bool isBack() const;
    bool withheld(const Decision& decision) const;
    Outcome send(Fault::Where where, std::uint8_t endpoint, std::span<const std::uint8_t> data,
                 const std::function<Outcome(std::span<const std::uint8_t>)>& forward);
    Reply ask(Fault::Where where, std::uint8_t endpoint, const std::function<Reply()>& forward);
    static Bytes spoilt(Bytes data, const Decision& decision);

    std::unique_ptr<Device> device;
    FaultPlan plan;
    HostTime hostTime;
    std::function<void(const std::string&)> log;
    std::mt19937_64 dice;
    std::map<std::uint8_t, Decision> decisions;
    std::uint64_t requests = 0;
    bool unplugged = false;
    std::uint64_t unpluggedAt = 0;
};

} // namespace tavo::virtualusb
