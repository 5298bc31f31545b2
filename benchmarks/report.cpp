// SPDX-License-Identifier: LGPL-2.1-or-later
#include "report.h"

#include <algorithm>
#include <cstdio>

namespace tavo::bench {

double median(std::vector<double> values) {
    if (values.empty())
        return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void reportRatio(const std::string& subject, double ratio, double goal) {
    std::printf("%s\t%.3f\t%.2f\t%s\n", subject.c_str(), ratio, goal, ratio <= goal ? "" : "above");
}

void reportFigure(const std::string& subject, const std::string& figure) {
    std::printf("%s\t%s\t\t\n", subject.c_str(), figure.c_str());
}

} // namespace tavo::bench
