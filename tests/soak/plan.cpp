// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plan.h"

#include "dice.h"

#include <cstdio>

namespace tavo::soak {
namespace {

constexpr std::uint64_t kStream = 1;

struct Models {
    std::vector<const char*> usual, rare; // rare ones have many pixels and take their time
};

const Models kModels[] = {{{"basin-b", "basin-c"}, {"basin-a"}},
                          {{"ridge-a"}, {"ridge-b", "ridge-c"}},
                          {{"heron-a", "heron-c"}, {"heron-b"}},
                          {{"glint-c", "glint-m"}, {}},
                          {{"lumen-b"}, {"lumen-c"}}};

std::string chooseModel(Dice& dice) {
    const Models& family = dice.pick(kModels);
    constexpr double kRare = 0.1;
    const bool rare = dice.chance(kRare) && !family.rare.empty();
    return dice.pick(rare ? family.rare : family.usual);
}

std::string probability(Dice& dice) {
    constexpr double kAlways = 0.05;
    char text[32];
    std::snprintf(text, sizeof text, "%.5f", dice.chance(kAlways) ? 1.0 : dice.spread(0.001, 0.3));
    return text;
}

std::string faultText(Dice& dice, bool isGlint) {
    static const char* const kPlaces[] = {"bulk-in", "bulk-out", "control-in", "control-out"};
    static const char* const kGlintPlaces[] = {"bulk-in", "control-in", "control-out"};
    static const char* const kControllerPlaces[] = {"bulk-in",  "bulk-in",  "bulk-in",
                                                    "bulk-out", "bulk-out", "control-out"};
    static const char* const kKinds[] = {"timeout", "stall", "short", "corrupt", "late"};
    constexpr double kUnused = 0.02; // places that the family has no requests at
    const std::string place = dice.chance(kUnused) ? dice.pick(kPlaces)
                              : isGlint            ? dice.pick(kGlintPlaces)
                                                   : dice.pick(kControllerPlaces);
    const std::string kind = dice.pick(kKinds);
    std::string text = place + ":" + probability(dice) + ":" + kind;
    if (kind == "late")
        text += ":" + std::to_string(dice.between(5, 600));
    return text;
}

std::string unplugText(Dice& dice) {
    std::string text =
        "unplug-after:" + std::to_string(static_cast<unsigned>(dice.spread(1, 3000)));
    constexpr double kReturns = 0.7;
    if (dice.chance(kReturns))
        text += ":" + std::to_string(dice.between(10, 300));
    return text;
}

Pull choosePull(Dice& dice) {
    constexpr double kReturns = 0.7;
    Pull pull{dice.between(0, 900), std::nullopt};
    if (dice.chance(kReturns))
        pull.pause = dice.between(10, 300);
    return pull;
}

} // namespace

Plan makePlan(std::uint64_t seed, const std::string& model) {
    Dice dice(seed, kStream);
    Plan plan{seed, chooseModel(dice), {}, {}, std::nullopt, false};
    if (!model.empty())
        plan.model = model;
    constexpr double kSilent = 0.03, kUnplugged = 0.35, kPulled = 0.25, kLaterFaults = 0.5;
    constexpr unsigned kFaultCounts[] = {0, 1, 1, 2, 2, 3};
    const bool isGlint = plan.family() == "glint";
    for (unsigned count = dice.pick(kFaultCounts); count > 0; --count)
        plan.faultTexts.push_back(faultText(dice, isGlint));
    if (dice.chance(kSilent) && !isGlint)
        plan.faultTexts.push_back("ping:never");
    if (dice.chance(kUnplugged))
        plan.faultTexts.push_back(unplugText(dice));
    else if (dice.chance(kPulled))
        plan.pull = choosePull(dice);
    plan.faultsWaitForOpen = dice.chance(kLaterFaults);
    for (const std::string& text : plan.faultTexts)
        virtualusb::addFault(plan.faults, text);
    plan.faults.seed = dice.any();
    return plan;
}

std::string Plan::text() const {
    std::string text = model;
    for (const std::string& fault : faultTexts)
        text += " " + fault;
    if (pull) {
        text += " pulled after " + std::to_string(pull->after) + " ms";
        if (pull->pause)
            text += " for " + std::to_string(*pull->pause) + " ms";
    }
    if (faultsWaitForOpen)
        text += ", once it has been opened";
    return text;
}

} // namespace tavo::soak
