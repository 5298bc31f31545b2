// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_TEXT_H
#define TAVOCAM_TEXT_H

#include <iomanip>
#include <sstream>
#include <string>

namespace tavocam {

// The parts written one after the other.
template <typename... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream stream;
    (stream << ... << parts);
    return stream.str();
}

// A number with a fixed count of decimals.
inline std::string decimals(double value, int count) {
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(count) << value;
    return stream.str();
}

} // namespace tavocam

#endif
