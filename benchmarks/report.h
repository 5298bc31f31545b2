// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The rows of the table that scripts/bench prints.
#pragma once

#include <string>
#include <vector>

namespace tavo::bench {

double median(std::vector<double> values); // of an empty list: 0

// One line on standard output, its fields divided by tabs: subject, what was measured, value, goal
// (empty where there is none).
void reportRatio(const std::string& subject, double ratio, double goal);
void reportFigure(const std::string& subject, const std::string& figure);

} // namespace tavo::bench
