// SPDX-License-Identifier: LGPL-2.1-or-later
//
// States that must never occur end the process. The line numbers are fixed, so that a report from
// any version of the library names the same place.
#pragma once

namespace tavo {

enum class AssertionSite : int {
    sendCommandFamily = 486,
    sendValueFamily = 505,
    spiInitFamily = 564,
    spiWriteFamily = 586,
    getDataFamily = 623,
    appInitFamily = 703,
    pingFamily = 842,
    listMaximum = 2756,
};

// "Assertion failed (source, line)"
[[noreturn]] void failAssertion(AssertionSite site);

// "Assertion "condition" failed (source, line)"
[[noreturn]] void failAssertion(const char* condition, int line);

} // namespace tavo
