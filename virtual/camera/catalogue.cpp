// SPDX-License-Identifier: LGPL-2.1-or-later
#include "catalogue.h"

#include "../controller/clock.h"
#include "family.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

namespace tavo::virtualcamera {

namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& value,
                         const std::string& accepted) {
    throw std::invalid_argument("option " + option + "=" + value + " is not accepted: " + option +
                                " takes " + accepted);
}

template <typename Number>
Number parseNumber(const std::string& option, const std::string& value, Number low, Number high) {
    Number number{};
    const char* end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    const bool inRange = number >= low && number <= high; // false for a NaN, too
    if (error != std::errc{} || rest != end || !inRange) {
        std::ostringstream accepted;
        accepted << "a number from " << low << " to " << high;
        refuse(option, value, accepted.str());
    }
    return number;
}

bool parseSwitch(const std::string& option, const std::string& value) {
    if (value != "0" && value != "1")
        refuse(option, value, "0 or 1");
    return value == "1";
}

bool parseFirmware(const std::string& option, const std::string& value) {
    if (value != "any" && value != "required")
        refuse(option, value, "any or required");
    return value == "required";
}

CoolerKind parseCooler(const std::string& option, const std::string& value) {
    static const std::map<std::string, CoolerKind> kinds{{"none", CoolerKind::none},
                                                         {"always", CoolerKind::alwaysOn},
                                                         {"onoff", CoolerKind::onOff},
                                                         {"power", CoolerKind::selectPower},
                                                         {"setpoint", CoolerKind::setPoint}};
    const auto found = kinds.find(value);
    if (found == kinds.end())
        refuse(option, value, "none, always, onoff, power or setpoint");
    return found->second;
}

void setCooler(Model& model, CoolerKind kind) {
    model.cooler = kind;
    if (kind == CoolerKind::onOff) {
        model.minCoolerPower = 0;
        model.maxCoolerPower = 1;
    }
}

struct Option {
    const char* name;
    void (*apply)(Model& model, const std::string& name, const std::string& value);
};

using Text = const std::string&;

const Option kOptions[] = {
    {"serial",
     [](Model& m, Text name, Text value) {
         m.serial =
             parseNumber<std::uint32_t>(name, value, 0, std::numeric_limits<std::uint32_t>::max());
     }},
    {"seed",
     [](Model& m, Text name, Text value) {
         m.seed =
             parseNumber<std::uint64_t>(name, value, 0, std::numeric_limits<std::uint64_t>::max());
     }},
    {"ambient", [](Model& m, Text name,
                   Text value) { m.ambient = parseNumber<double>(name, value, -40.0, 50.0); }},
    {"shutter", [](Model& m, Text name, Text value) { m.hasShutter = parseSwitch(name, value); }},
    {"wheel",
     [](Model& m, Text name, Text value) {
         m.filterCount =
             parseNumber<unsigned>(name, value, 0, static_cast<unsigned>(filters().size()));
     }},
    {"cooler", [](Model& m, Text name, Text value) { setCooler(m, parseCooler(name, value)); }},
    {"gpio", [](Model& m, Text name,
                Text value) { m.gpioLines = parseNumber<unsigned>(name, value, 0, 16); }},
    {"eight-bit",
     [](Model& m, Text name, Text value) { m.has8BitMode = parseSwitch(name, value); }},
    {"guide", [](Model& m, Text name, Text value) { m.hasGuidePort = parseSwitch(name, value); }},
    {"guide-rate", [](Model& m, Text name,
                      Text value) { m.mount.guideRate = parseNumber<double>(name, value, 0, 60); }},
    {"drift-x", [](Model& m, Text name,
                   Text value) { m.mount.driftX = parseNumber<double>(name, value, -10, 10); }},
    {"drift-y", [](Model& m, Text name,
                   Text value) { m.mount.driftY = parseNumber<double>(name, value, -10, 10); }},
    {"periodic-error",
     [](Model& m, Text name, Text value) {
         m.mount.periodicError = parseNumber<double>(name, value, 0, 600);
     }},
    {"period", [](Model& m, Text name,
                  Text value) { m.mount.period = parseNumber<double>(name, value, 1, 86400); }},
    {"ping", [](Model& m, Text name, Text value) { m.answersPing = parseSwitch(name, value); }},
    {"colour", [](Model& m, Text name,
                  Text value) { makeColour(m, parseNumber<unsigned>(name, value, 0, 3)); }},
    {"samples", [](Model& m, Text name,
                   Text value) { m.samplesPerPixel = parseNumber<unsigned>(name, value, 1, 2); }},
    {"firmware",
     [](Model& m, Text name, Text value) { m.firmwareRequired = parseFirmware(name, value); }},
};

template <typename Range, typename Name>
std::string listOf(const Range& range, Name name) {
    std::string text;
    for (const auto& element : range)
        text += (text.empty() ? "" : ", ") + std::string{name(element)};
    return text;
}

struct Choice {
    const CameraFamily& family;
    const Model& model;
};

Choice findModel(const std::string& key) {
    for (const CameraFamily& family : families())
        for (const Model& model : family.models())
            if (model.key == key)
                return {family, model};
    throw std::invalid_argument("unknown camera model \"" + key + "\"; there are " +
                                listOf(models(), [](const ModelInfo& m) { return m.key; }));
}

std::vector<std::string> optionsOf(const CameraFamily& family) {
    std::vector<std::string> names{"serial",  "seed",           "ambient", "drift-x",
                                   "drift-y", "periodic-error", "period"};
    std::istringstream own{std::string{family.options}};
    for (std::string name; own >> name;)
        names.push_back(name);
    return names;
}

void applyOption(Model& model, const CameraFamily& family, const std::string& name,
                 const std::string& value) {
    const auto names = optionsOf(family);
    const auto* found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                     [&](const Option& option) { return name == option.name; });
    if (found == std::end(kOptions) || std::find(names.begin(), names.end(), name) == names.end())
        throw std::invalid_argument("unknown option \"" + name + "\" of " + model.key +
                                    "; there are " +
                                    listOf(names, [](const std::string& n) { return n; }));
    found->apply(model, name, value);
}

} // namespace

const std::vector<ModelInfo>& models() {
    static const std::vector<ModelInfo> list = [] {
        std::vector<ModelInfo> infos;
        for (const CameraFamily& family : families())
            for (const Model& model : family.models())
                infos.push_back({model.key, model.name, model.productId, model.summary});
        return infos;
    }();
    return list;
}

std::unique_ptr<virtualusb::Device> makeCamera(const std::string& key,
                                               const std::map<std::string, std::string>& options,
                                               double speed, Log log) {
    const Choice choice = findModel(key);
    Model model = choice.model;
    for (const auto& [name, value] : options)
        applyOption(model, choice.family, name, value);
    constexpr double kSlowest = 0.001;
    constexpr double kFastest = 100000.0; // a day in a second; times still fit their integers
    if (!(speed >= kSlowest && speed <= kFastest))
        throw std::invalid_argument("the speed of a camera must be from 0.001 to 100000");
    return choice.family.assemble(model, std::make_shared<const SystemClock>(speed),
                                  std::move(log));
}

} // namespace tavo::virtualcamera
