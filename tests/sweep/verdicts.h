// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What an operation of a family can do without: the calls and allocations whose failure it
// forgives, as lines of text, and the file in which they are kept. Every line of it is a decision;
// the sweep fails when the driver decides otherwise.
#pragma once

#include "faults.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace tavo::sweep {

class Verdicts {
public:
    // `names` are those of the calls of a run without a fault.
    Verdicts(std::string subject, std::vector<std::string> names, std::size_t allocations);
    void note(const Failure& failure, bool succeeded);
    std::vector<std::string> lines() const; // none where nothing can fail

private:
    std::string subject;
    std::vector<std::string> names;
    std::size_t allocations;
    std::map<std::string, std::set<std::size_t>> forgiven; // by what fails
};

// Holds them against the kept ones: says which lines are gone and which are new, and returns how
// many.
std::size_t compareWithExpected(const std::vector<std::string>& lines);
void writeExpected(const std::vector<std::string>& lines);

} // namespace tavo::sweep
