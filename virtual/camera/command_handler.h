// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What firmware that takes numbered commands knows of each of them, and what it does with one that
// it does not serve: ignore it.
#pragma once

#include "../controller/journal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tavo::virtualcamera {

using Arguments = std::span<const std::uint8_t>;

template <typename Firmware>
struct CommandHandler {
    std::uint8_t command;
    std::size_t argumentBytes; // as they travel, padding included
    bool needsApplication;     // ignored until the application has been started
    const char* name;
    void (Firmware::*serve)(Arguments);
};

// The handler of a command that is to be served; null, with the reason in the journal, otherwise.
template <typename Firmware>
const CommandHandler<Firmware>* findHandler(std::span<const CommandHandler<Firmware>> handlers,
                                            std::uint8_t command, Arguments arguments,
                                            bool applicationStarted, const Journal& journal) {
    const auto found =
        std::find_if(handlers.begin(), handlers.end(),
                     [command](const auto& handler) { return handler.command == command; });
    if (found == handlers.end())
        journal("command ", unsigned{command}, " is unknown and ignored: ", hexDump(arguments));
    else if (arguments.size() != found->argumentBytes)
        journal("command ", unsigned{command}, " ", found->name, " takes ", found->argumentBytes,
                " argument bytes but came with ", arguments.size(),
                " and is ignored: ", hexDump(arguments));
    else if (found->needsApplication && !applicationStarted)
        journal("command ", unsigned{command}, " ", found->name,
                " is ignored, the application has not been started");
    else
        return &*found;
    return nullptr;
}

} // namespace tavo::virtualcamera
