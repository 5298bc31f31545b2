// SPDX-License-Identifier: LGPL-2.1-or-later
#include "journal.h"

#include <algorithm>
#include <iomanip>

namespace tavo::virtualcamera {

std::string hexDump(std::span<const std::uint8_t> bytes, std::size_t limit) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (std::size_t i = 0; i < std::min(bytes.size(), limit); ++i)
        text << (i == 0 ? "" : " ") << std::setw(2) << unsigned{bytes[i]};
    if (bytes.size() > limit)
        text << " ... (" << std::dec << bytes.size() << " bytes)";
    return text.str();
}

std::string hex(std::uint64_t value, int digits) {
    std::ostringstream text;
    text << "0x" << std::hex << std::setfill('0') << std::setw(digits) << value;
    return text.str();
}

} // namespace tavo::virtualcamera
