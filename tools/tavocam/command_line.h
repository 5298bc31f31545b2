// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_COMMAND_LINE_H
#define TAVOCAM_COMMAND_LINE_H

#include <string>
#include <variant>
#include <vector>

#include "verbs.h"

namespace tavocam {

// A text to print in place of doing anything: help or version.
struct PrintCommand {
    std::string output;
};

using Command = std::variant<PrintCommand, ListCommand, InfoCommand, WarmCommand, ExposeCommand>;

// Takes the arguments without the program's name; throws Failure.
Command parseCommandLine(std::vector<std::string> arguments);

} // namespace tavocam

#endif
