// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fault_plan.h"

#include <charconv>
#include <map>
#include <stdexcept>

namespace tavo::virtualusb {

namespace {

constexpr std::uint64_t kMillisecond = 1000;
constexpr std::uint64_t kLongestDelay = 3600000; // ms
constexpr std::uint64_t kDefaultDelay = 500;     // ms

const std::map<std::string, Fault::Where> kPlaces{{"bulk-in", Fault::Where::bulkIn},
                                                  {"bulk-out", Fault::Where::bulkOut},
                                                  {"control-in", Fault::Where::controlIn},
                                                  {"control-out", Fault::Where::controlOut}};
const std::map<std::string, Fault::Kind> kKinds{{"timeout", Fault::Kind::timeout},
                                                {"stall", Fault::Kind::stall},
                                                {"short", Fault::Kind::shortPacket},
                                                {"corrupt", Fault::Kind::corrupt},
                                                {"late", Fault::Kind::late}};

[[noreturn]] void refuse(const std::string& text, const std::string& problem) {
    throw std::invalid_argument(
        "--fault \"" + text + "\": " + problem +
        "; accepted are WHERE:PROBABILITY:KIND[:MILLISECONDS] with WHERE bulk-in, bulk-out, "
        "control-in or control-out, PROBABILITY 0 to 1 and KIND timeout, stall, short, corrupt or "
        "late, unplug-after:REQUESTS[:MILLISECONDS], and ping:never");
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> words(1);
    for (const char character : text) {
        if (character == ':')
            words.emplace_back();
        else
            words.back() += character;
    }
    return words;
}

template <typename Number>
Number parse(const std::string& text, const std::string& word, const char* what, Number low,
             Number high) {
    Number number{};
    const char* end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    const bool inRange = number >= low && number <= high; // false for a NaN, too
    if (error != std::errc{} || rest != end || !inRange)
        refuse(text, "\"" + word + "\" is no " + what);
    return number;
}

std::uint64_t parseDelay(const std::string& text, const std::string& word) {
    constexpr std::uint64_t kShortest = 1;
    return kMillisecond * parse(text, word, "time of 1 to 3600000 ms", kShortest, kLongestDelay);
}

void addUnplug(FaultPlan& plan, const std::string& text, const std::vector<std::string>& words) {
    if (words.size() < 2 || words.size() > 3)
        refuse(text, "a number of requests, and perhaps a time, must follow unplug-after");
    constexpr std::uint64_t kMost = 1000000000000;
    plan.unplugAfter = parse<std::uint64_t>(text, words[1], "number of requests from 1", 1, kMost);
    plan.replugDelay.reset();
    if (words.size() == 3)
        plan.replugDelay = parseDelay(text, words[2]);
}

} // namespace

void addFault(FaultPlan& plan, const std::string& text) {
    const std::vector<std::string> words = split(text);
    if (text == "ping:never") {
        plan.pingUnanswered = true;
        return;
    }
    if (words[0] == "unplug-after")
        return addUnplug(plan, text, words);
    const auto where = kPlaces.find(words[0]);
    if (where == kPlaces.end())
        refuse(text, "\"" + words[0] + "\" is unknown");
    if (words.size() < 3 || words.size() > 4)
        refuse(text, "there must be three or four parts");
    const auto kind = kKinds.find(words[2]);
    if (kind == kKinds.end())
        refuse(text, "\"" + words[2] + "\" is no kind of fault");
    if (words.size() == 4 && kind->second != Fault::Kind::late)
        refuse(text, "only a late answer takes a time");
    Fault fault{where->second, parse(text, words[1], "probability from 0 to 1", 0.0, 1.0),
                kind->second};
    if (kind->second == Fault::Kind::late)
        fault.delay = words.size() == 4 ? parseDelay(text, words[3]) : kDefaultDelay * kMillisecond;
    plan.faults.push_back(fault);
}

} // namespace tavo::virtualusb
