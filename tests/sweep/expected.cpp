// SPDX-License-Identifier: LGPL-2.1-or-later
#include "verdicts.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace tavo::sweep {
namespace {

constexpr const char* kFile = TAVO_SWEEP_EXPECTED;
constexpr std::size_t kMostPrinted = 20;

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// The lines of one that the other does not have.
std::size_t printMissing(const char* what, const std::vector<std::string>& lines,
                         const std::vector<std::string>& others) {
    std::size_t missing = 0;
    for (const std::string& line : lines) {
        if (!contains(others, line) && missing++ < kMostPrinted)
            std::printf("FINDING: %s %s\n", what, line.c_str());
    }
    return missing;
}

// None where there is no such file: then all lines are new.
std::vector<std::string> keptLines() {
    std::ifstream file(kFile);
    if (!file)
        std::printf("FINDING: cannot read %s\n", kFile);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.front() != '#')
            lines.push_back(line);
    }
    return lines;
}

} // namespace

std::size_t compareWithExpected(const std::vector<std::string>& lines) {
    const std::vector<std::string> kept = keptLines();
    return printMissing("no longer:", kept, lines) + printMissing("now:      ", lines, kept);
}

void writeExpected(const std::vector<std::string>& lines) {
    std::ofstream file(kFile);
    file << "# SPDX-License-Identifier: LGPL-2.1-or-later\n"
            "#\n"
            "# The calls and allocations without which an operation succeeds all the same, by "
            "number\n"
            "# and use. Written by `tavo_sweep --write-expected`; each change is a decision.\n";
    for (const std::string& line : lines)
        file << line << '\n';
    if (!file.flush())
        std::printf("FINDING: cannot write %s\n", kFile);
}

} // namespace tavo::sweep
