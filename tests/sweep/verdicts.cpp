// SPDX-License-Identifier: LGPL-2.1-or-later
#include "verdicts.h"

#include <algorithm>

namespace tavo::sweep {
namespace {

std::string kindOf(const Failure& failure) {
    const std::string what = failure.victim == Victim::call ? "call" : "allocation";
    return failure.repeat == test::Repeat::once ? "without one " + what
                                                : "without any " + what + " from";
}

// The names of a range, each once.
std::string namesOf(const std::vector<std::string>& names, std::size_t first, std::size_t last) {
    std::vector<std::string> told;
    std::string text;
    for (std::size_t i = first; i <= std::min(last, names.size()); ++i) {
        const std::string& name = names[i - 1];
        if (std::find(told.begin(), told.end(), name) != told.end())
            continue;
        text += (told.empty() ? "" : ", ") + name;
        told.push_back(name);
    }
    return text;
}

} // namespace

Verdicts::Verdicts(std::string ofWhat, std::vector<std::string> callNames, std::size_t allocated)
    : subject(std::move(ofWhat)), names(std::move(callNames)), allocations(allocated) {}

void Verdicts::note(const Failure& failure, bool succeeded) {
    if (succeeded)
        forgiven[kindOf(failure)].insert(failure.number);
}

std::vector<std::string> Verdicts::lines() const {
    if (names.empty() && allocations == 0)
        return {};
    std::vector<std::string> all{subject + ": " + std::to_string(names.size()) + " calls, " +
                                 std::to_string(allocations) + " allocations"};
    for (const auto& [kind, numbers] : forgiven) {
        std::string line = subject + ", " + kind + ":";
        for (auto first = numbers.begin(); first != numbers.end();) {
            auto last = first;
            while (std::next(last) != numbers.end() && *std::next(last) == *last + 1)
                ++last;
            line += (first == numbers.begin() ? " " : "; ") + std::to_string(*first);
            if (first != last)
                line += "-" + std::to_string(*last);
            if (kind.find("call") != std::string::npos)
                line += " (" + namesOf(names, *first, *last) + ")";
            first = std::next(last);
        }
        all.push_back(line);
    }
    return all;
}

} // namespace tavo::sweep
