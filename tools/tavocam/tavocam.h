// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_TAVOCAM_H
#define TAVOCAM_TAVOCAM_H

#include <string>
#include <vector>

#include "environment.h"

namespace tavocam {

// Runs the program with the arguments that follow its name; returns its exit code.
int run(const std::vector<std::string>& arguments, Environment& environment);

} // namespace tavocam

#endif
