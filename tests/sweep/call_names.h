// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a call of libusb is for, in a word or two.
#pragma once

#include "fake/conversation.h"

namespace tavo::sweep {

// One name for each call that can fail, in the order in which failCall counts them.
std::vector<std::string> callNames(const test::Rows& rows);

} // namespace tavo::sweep
