// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What programs need in their environment to live on a testbed.
#pragma once

#include <string>
#include <vector>

namespace tavo::virtualusb {

// The environment of this process with what a child needs to live on the testbed there.
std::vector<std::string> environmentOn(const std::string& testbed);

// The same for a shell: lines for it to read. Of an environment (lines of "NAME=VALUE") they name
// only what makes a program live on a testbed.
std::string shellLines(const std::vector<std::string>& environment);

} // namespace tavo::virtualusb
