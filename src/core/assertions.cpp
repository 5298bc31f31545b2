// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/assertions.h"

#include <cstdio>
#include <cstdlib>

namespace tavo {

namespace {
constexpr const char* kSource = "src/tavoccdusb.cpp";
}

void failAssertion(AssertionSite site) {
    std::fprintf(stderr, "Assertion failed (%s, %d)\n", kSource, static_cast<int>(site));
    std::exit(1);
}

void failAssertion(const char* condition, int line) {
    std::fprintf(stderr, "Assertion \"%s\" failed (%s, %d)\n", condition, kSource, line);
    std::exit(1);
}

} // namespace tavo
