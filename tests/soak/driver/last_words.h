// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

namespace tavo::soak {

// Lets a program that dies by a signal, or that is aborted because it hangs, tell where its first
// thread is. Called from that thread.
void prepareLastWords();

} // namespace tavo::soak
