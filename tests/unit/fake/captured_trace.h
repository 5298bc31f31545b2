// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the driver writes on standard error.
#pragma once

#include <string>
#include <vector>

namespace tavo::test {

// Catches standard error while it lives. It does not touch the trace switches.
class CapturedStderr {
public:
    CapturedStderr();
    ~CapturedStderr();
    CapturedStderr(const CapturedStderr&) = delete;
    CapturedStderr& operator=(const CapturedStderr&) = delete;

    std::string text() const; // from the start or the last `forget`
    void forget();

private:
    int caught = -1;
    int original = -1;
};

// The same with tracing switched on while it lives.
class CapturedTrace {
public:
    CapturedTrace();
    ~CapturedTrace();
    CapturedTrace(const CapturedTrace&) = delete;
    CapturedTrace& operator=(const CapturedTrace&) = delete;

    std::string text() const { return output.text(); }
    std::vector<std::string> lines() const; // without line feeds
    bool contains(const std::string& line) const;
    void forget() { output.forget(); }

private:
    CapturedStderr output;
    unsigned char debugBefore;
    unsigned char debugOnBefore;
};

using Lines = std::vector<std::string>;

// How many entry lines have not had their exit line (negative: too many exits).
int traceDepth();
// Brings the depth back to zero, for tests that let it drift on purpose.
void resetTraceDepth();

} // namespace tavo::test
