// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_VERBS_H
#define TAVOCAM_VERBS_H

#include <optional>
#include <string>

#include "arguments.h"
#include "environment.h"

namespace tavocam {

struct ListCommand {};

struct InfoCommand {
    std::optional<std::string> camera;
};

struct WarmCommand {
    std::optional<std::string> camera;
};

struct ExposeCommand {
    std::optional<std::string> camera;
    ExposeRequest request;
    OutputRequest outputs;
    bool quiet = false;
};

// Each does what its command says and throws Failure.
void runVerb(const ListCommand& command, Environment& environment);
void runVerb(const InfoCommand& command, Environment& environment);
void runVerb(const WarmCommand& command, Environment& environment);
void runVerb(const ExposeCommand& command, Environment& environment);

} // namespace tavocam

#endif
