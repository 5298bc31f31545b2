// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/flags.h"

#include <cstring>
#include <span>

namespace tavo {
namespace {

struct FlagName {
    unsigned bit;
    const char* name;
    bool namedWhenClear = false;
};

constexpr FlagName kFlags[] = {
    {0x0001, " FIFO"},
    {0x0002, " INTERLACED"},
    {0x0004, " EXT_TRIGGER"},
    {0x0008, " PREVIEW"},
    {0x0010, " SUBSAMPLE"},
    {0x0040, " OVERLAP"},
    {flag::kHasShutter, " HAS_SHUTTER"},
    {flag::kNoGuidePort, " HAS_GUIDE_PORT", true},
    {flag::kHasGPIO, " HAS_GPIO"},
    {0x0400, " HAS_WINDOW_HEATER"},
    {flag::kHas8BitMode, " HAS_8_BIT_MODE"},
    {flag::kHasFilterWheel, " HAS_FILTER_WHEEL"},
};

constexpr FlagName kHeronFlags[] = {
    {heronflag::kHasGuidePort, " HAS_GUIDE_PORT"},
    {heronflag::kNoFastUSB, " NO_FAST_USB"},
    {heronflag::kPrechargeCDS, " PC_CDS"},
};

FlagText names(unsigned word, unsigned traced, std::span<const FlagName> table) {
    FlagText result;
    std::size_t used = 0;
    for (const FlagName& entry : table) {
        const bool set = (word & entry.bit) != 0;
        const std::size_t length = std::strlen(entry.name);
        if ((traced & entry.bit) == 0 || set == entry.namedWhenClear ||
            used + length >= result.text.size())
            continue;
        std::memcpy(result.text.data() + used, entry.name, length);
        used += length;
    }
    return result;
}

} // namespace

FlagText flagNames(unsigned word, unsigned traced) {
    return names(word, traced, kFlags);
}

FlagText heronFlagNames(unsigned flags) {
    return names(flags, 0xFF, kHeronFlags);
}

} // namespace tavo
