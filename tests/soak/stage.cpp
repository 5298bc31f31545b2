// SPDX-License-Identifier: LGPL-2.1-or-later
#include "stage.h"

#include "camera/catalogue.h"
#include "speed.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace tavo::soak {
namespace {

constexpr unsigned kFirstNumber = 2, kLastNumber = 127;

bool isCauseOf(virtualusb::Fault::Kind kind, const virtualusb::FaultPlan& plan) {
    return std::any_of(plan.faults.begin(), plan.faults.end(),
                       [&](const virtualusb::Fault& fault) { return fault.kind == kind; });
}

} // namespace

Stage::Stage(const Plan& plan_) : plan(plan_) {
    bus.plug(makeCamera(!plan.faults.pingUnanswered));
    faults->on = !plan.faultsWaitForOpen;
}

// Relays that move the field would make every picture another, and so would a cooler in a warm
// night: hot pixels are its work.
std::unique_ptr<virtualusb::Device> Stage::makeCamera(bool answersPing) {
    std::map<std::string, std::string> options{{"ambient", "-20"}};
    const std::string family = plan.family();
    if (family != "basin" && family != "glint")
        options["guide-rate"] = "0";
    if (!answersPing)
        options["ping"] = "0";
    return makeSwitchedDevice(virtualcamera::makeCamera(plan.model, options, kSpeed, {}),
                              plan.faults, faults, [this](const std::string& line) { note(line); });
}

void Stage::note(const std::string& line) {
    if (line.find("unplugged") != std::string::npos)
        ++ownUnplugCount;
    for (std::size_t kind = 0; kind < kFaultKinds.size(); ++kind)
        if (line.ends_with(kFaultKinds[kind]))
            ++counts[kind];
}

// Its number is not known when it has been away by itself.
void Stage::pull() {
    for (unsigned number = kFirstNumber; number <= kLastNumber && !pulled; ++number)
        try {
            pulled = bus.unplug(number);
            ++pullCount;
        } catch (const std::invalid_argument&) {
        }
}

void Stage::putBack() {
    if (!pulled)
        return;
    pulled->reset();
    bus.plug(std::move(pulled));
}

// A camera of registers is not opened by choosing a setting, which ends a stall elsewhere.
bool Stage::heal() {
    stopFaults();
    const bool staysAway = faults->away && !plan.faults.replugDelay;
    const bool staysStalled =
        plan.family() == "glint" && isCauseOf(virtualusb::Fault::Kind::stall, plan.faults);
    const bool wasPulled = isPulled();
    if (staysAway || plan.faults.pingUnanswered) {
        pull();
        pulled.reset();
        faults = std::make_shared<FaultSwitch>();
        bus.plug(makeCamera(true));
        return true;
    }
    if (staysStalled)
        pull();
    putBack();
    return wasPulled || staysStalled || unplugCount() > 0;
}

std::array<std::uint32_t, kFaultKinds.size()> Stage::faultCounts() const {
    std::array<std::uint32_t, kFaultKinds.size()> result{};
    for (std::size_t kind = 0; kind < result.size(); ++kind)
        result[kind] = counts[kind];
    return result;
}

} // namespace tavo::soak
