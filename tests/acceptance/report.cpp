// SPDX-License-Identifier: LGPL-2.1-or-later
#include "report.h"

#include <chrono>
#include <cstdio>
#include <iomanip>
#include <new>

namespace acceptance {

bool Report::step(const std::string& name, const std::function<std::string()>& check) {
    const auto start = std::chrono::steady_clock::now();
    const unsigned before = passed + skipped;
    std::string outcome;
    try {
        outcome = check();
        outcome = outcome.empty() ? "ok" : "ok: " + outcome;
        ++passed;
    } catch (const Skip& reason) {
        outcome = std::string("skipped: ") + reason.what();
        ++skipped;
    } catch (const Failure& failure) {
        outcome = std::string("FAILED: ") + failure.what();
    } catch (const std::bad_alloc&) {
        outcome = "FAILED: expected memory for an image, there is none";
    } catch (const std::exception& error) {
        // A fault of the step's own must not keep what the other steps find.
        outcome = std::string("FAILED: expected no exception, saw ") + error.what();
    }
    const bool success = passed + skipped > before;
    failed += success ? 0 : 1;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    char took[32];
    std::snprintf(took, sizeof took, " [%.1f s]", elapsed.count());
    line(name, outcome + took);
    return success;
}

void Report::line(const std::string& name, const std::string& outcome) {
    out << std::left << std::setw(28) << name << outcome << std::endl;
}

bool Report::finish() {
    line("result", std::to_string(passed) + " ok, " + std::to_string(failed) + " failed, " +
                       std::to_string(skipped) + " skipped");
    return failed == 0;
}

void expect(bool holds, const std::string& expected, const std::string& seen) {
    if (!holds)
        throw Failure("expected " + expected + ", saw " + seen);
}

std::string text(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.4g", value);
    return buffer;
}

std::string quoted(const char* words) {
    std::string result(1, '"');
    result += words;
    result += '"';
    return result;
}

} // namespace acceptance
