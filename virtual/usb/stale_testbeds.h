// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Testbeds that a killed program could not remove. A testbed of ours holds a file that its program
// keeps locked for as long as it lives; a directory without that file is not ours.
#pragma once

#include <string>

namespace tavo::virtualusb {

// Marks a testbed as ours and alive until the returned file is closed; -1 when that fails.
int ownTestbed(const std::string& directory);

// Removes a testbed that programs may be using still, whom nothing keeps from making and removing
// files in it. What stands in its place then is a plain file, in which they find no room and which
// is to be removed last. False when that fails: nothing has been removed then.
bool replaceTestbed(const std::string& directory);

// Removes the marked testbeds of this user in `parent` that nobody keeps alive.
void removeStaleTestbeds(const std::string& parent);

} // namespace tavo::virtualusb
