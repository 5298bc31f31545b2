// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A virtual bus with one camera, and the hand that pulls its cable.
#pragma once

#include "plan.h"
#include "record.h"
#include "switched_device.h"
#include "usb/bus.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace tavo::soak {

class Stage {
public:
    // The plan outlives the stage.
    explicit Stage(const Plan& plan);

    std::vector<std::string> environment() const { return bus.environment(); }

    void startFaults() { faults->on = true; }
    void stopFaults() { faults->on = false; }

    // What a person does with the cable. Nothing happens when it has been done.
    void pull();
    void putBack();
    bool isPulled() const { return pulled != nullptr; }

    // Ends the faults, and brings the camera back where that takes a person: true when it is
    // plugged in anew then, and what programs knew of it is void.
    bool heal();

    // Grows as long as the camera serves anybody.
    std::uint32_t servedCount() const { return faults->served; }

    std::array<std::uint32_t, kFaultKinds.size()> faultCounts() const;
    std::uint32_t unplugCount() const { return pullCount + ownUnplugCount; }

private:
    std::unique_ptr<virtualusb::Device> makeCamera(bool answersPing);
    void note(const std::string& line);

    const Plan& plan;
    std::shared_ptr<FaultSwitch> faults = std::make_shared<FaultSwitch>();
    std::array<std::atomic<std::uint32_t>, kFaultKinds.size()> counts{};
    std::atomic<std::uint32_t> ownUnplugCount{0};
    std::uint32_t pullCount = 0;
    std::unique_ptr<virtualusb::Device> pulled;
    virtualusb::Bus bus; // the last: its thread uses what stands above
};

} // namespace tavo::soak
