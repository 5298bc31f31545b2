// SPDX-License-Identifier: LGPL-2.1-or-later
#include "camera_choice.h"

#include <string_view>
#include <utility>
#include <vector>

#include "arguments.h"
#include "failure.h"
#include "presence.h"
#include "session.h"
#include "text.h"

namespace tavocam {
namespace {

std::string names(const Cameras& cameras) {
    std::string list;
    for (std::size_t index = 0; index < cameras.size(); ++index)
        list += text(index == 0 ? "" : ", ", index, " (", cameras[index]->getName(), ")");
    return list;
}

std::string remedy(const std::string& reason) {
    return reason == "Failed to open device"
               ? "There is no permission on its device node (install the udev rule that comes with "
                 "the driver and plug the camera in again), or it was unplugged for a moment (try "
                 "again)."
               : "Another program may be using it; otherwise switch it off and on again and check "
                 "its power supply and cable.";
}

void openOrFail(const Environment& environment, const Presence& presence, TavoCamera& camera) {
    if (camera.open())
        return;
    const std::string reason = lastError(camera);
    camera.close();
    throw Failure(kCannotOpen,
                  text("cannot open ", camera.getName(), ": ", reason, ". ",
                       presence.isGone(environment) ? text(kGone, ".") : remedy(reason)));
}

std::size_t findByName(const Cameras& cameras, const std::string& name) {
    std::vector<std::size_t> found;
    for (std::size_t index = 0; index < cameras.size(); ++index) {
        if (cameras[index]->getName() == name)
            found.push_back(index);
    }
    if (found.size() == 1)
        return found.front();
    throw Failure(found.empty() ? kNoCamera : kUsage,
                  text(found.empty() ? "no camera is named \"" : "several cameras are named \"",
                       name, "\": choose by --camera with one of ", names(cameras),
                       ", or with a serial number"));
}

// Serial numbers are known only of open cameras. Finds the first one of that number and leaves it
// open; a camera that does not open has none.
std::optional<std::size_t> openBySerial(Environment& environment, const Cameras& cameras,
                                        unsigned serial, bool quiet) {
    for (std::size_t index = 0; index < cameras.size(); ++index) {
        TavoCamera& camera = *cameras[index];
        if (!quiet)
            environment.err << "tavocam: looking at " << camera.getName() << " ..." << std::endl;
        if (camera.open() && camera.getSerialNumber() == serial)
            return index;
        camera.close();
    }
    return std::nullopt;
}

[[noreturn]] void failUnknown(const Cameras& cameras, const std::string& what, unsigned number) {
    throw Failure(kNoCamera, text("no camera that can be opened has the ", what, " ", number,
                                  ": connected are ", names(cameras)));
}

// What follows the prefix, when the choice has it.
std::optional<unsigned> prefixed(const std::string& choice, std::string_view prefix) {
    if (choice.compare(0, prefix.size(), prefix) != 0)
        return std::nullopt;
    const auto number = parseNumber(std::string_view(choice).substr(prefix.size()));
    if (!number)
        throw Failure(kUsage, text("\"", choice, "\" chooses no camera: after ", prefix,
                                   " give a whole number"));
    return number;
}

// The camera's place in the list; says whether finding it has opened it.
struct Found {
    std::size_t index = 0;
    bool open = false;
};

Found findBySerial(Environment& environment, const Cameras& cameras, unsigned serial, bool quiet,
                   const std::string& what) {
    const auto index = openBySerial(environment, cameras, serial, quiet);
    if (!index)
        failUnknown(cameras, what, serial);
    return {*index, true};
}

Found find(Environment& environment, const Cameras& cameras, const std::string& choice,
           bool quiet) {
    if (const auto serial = prefixed(choice, "serial:"))
        return findBySerial(environment, cameras, *serial, quiet, "serial number");
    if (const auto index = prefixed(choice, "index:")) {
        if (*index >= cameras.size())
            failUnknown(cameras, "index", *index);
        return {*index};
    }
    const auto number = parseNumber(choice);
    if (!number)
        return {findByName(cameras, choice)};
    if (*number >= cameras.size())
        return findBySerial(environment, cameras, *number, quiet, "index or serial number");
    // Not looked for among the serial numbers: that would open cameras that nobody asked for.
    return {*number};
}

} // namespace

Chosen openChosen(Environment& environment, Cameras& cameras,
                  const std::optional<std::string>& choice, bool quiet) {
    if (!choice && cameras.size() > 1)
        throw Failure(kUsage, text("several cameras are connected: choose by --camera with one of ",
                                   names(cameras)));
    const Found found = choice ? find(environment, cameras, *choice, quiet) : Found{};
    auto& chosen = cameras[found.index];
    const Presence presence(cameras, chosen->getName());
    if (!found.open) {
        if (environment.terminal && !quiet)
            environment.err << "tavocam: opening " << chosen->getName() << " ..." << std::endl;
        openOrFail(environment, presence, *chosen);
    }
    return {std::move(chosen), presence};
}

} // namespace tavocam
