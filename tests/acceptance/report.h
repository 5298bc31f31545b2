// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The outcome of a run: one line a step, and whether any step failed.
#pragma once

#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace acceptance {

// A step ends early by throwing one of these.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Skip : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Report {
public:
    explicit Report(std::ostream& out_) : out(out_) {}

    // Runs a step, which returns what is worth telling about a success. True unless it failed.
    bool step(const std::string& name, const std::function<std::string()>& check);
    // Tells the sums. REQUIRES: called once, at the end.
    bool finish();

private:
    void line(const std::string& name, const std::string& outcome);

    std::ostream& out;
    unsigned passed = 0;
    unsigned failed = 0;
    unsigned skipped = 0;
};

// Throws a Failure with what was expected and what was seen, unless `holds`.
void expect(bool holds, const std::string& expected, const std::string& seen);

// Text of a number, without needless digits.
std::string text(double value);

std::string quoted(const char* words);

} // namespace acceptance
