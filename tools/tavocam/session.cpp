// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "arguments.h"
#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

// The driver's default asks for more in one read than stock kernels grant (16 MiB for all of a
// process's transfers); a multiple of 512 of this size is granted everywhere.
constexpr long kBulkReadSize = 1024 * 1024; // bytes

std::string names(const Cameras& cameras) {
    std::string list;
    for (std::size_t index = 0; index < cameras.size(); ++index)
        list += text(index == 0 ? "" : ", ", index, " (", cameras[index]->getName(), ")");
    return list;
}

void openOrFail(TavoCamera& camera) {
    if (camera.open())
        return;
    const std::string reason = lastError(camera);
    camera.close();
    const bool refused = reason == "Failed to open device";
    throw Failure(kCannotOpen,
                  text("cannot open ", camera.getName(), ": ", reason, ". ",
                       refused ? "There is no permission on its device node (install the udev "
                                 "rule that comes with the driver and plug the camera in again) "
                                 "or it was unplugged."
                               : "Another program may be using it; otherwise switch it off and on "
                                 "again and check its power supply and cable."));
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

// Serial numbers are known only of open cameras.
std::size_t openBySerial(const Cameras& cameras, unsigned serial) {
    for (std::size_t index = 0; index < cameras.size(); ++index) {
        TavoCamera& camera = *cameras[index];
        if (!camera.open()) {
            camera.close();
            continue;
        }
        if (camera.getSerialNumber() == serial)
            return index;
        camera.close();
    }
    throw Failure(kNoCamera, text("no camera that can be opened has the index or serial number ",
                                  serial, ": connected are ", names(cameras)));
}

std::unique_ptr<TavoCamera> openChosen(Cameras& cameras, const std::optional<std::string>& choice) {
    std::size_t index = 0;
    const auto number = choice ? parseNumber(*choice) : std::nullopt;
    if (!choice && cameras.size() > 1)
        throw Failure(kUsage, text("several cameras are connected: choose by --camera with one of ",
                                   names(cameras)));
    if (number && *number >= cameras.size())
        return std::move(cameras[openBySerial(cameras, *number)]);
    if (choice)
        index = number ? *number : findByName(cameras, *choice);
    openOrFail(*cameras[index]);
    return std::move(cameras[index]);
}

} // namespace

std::string lastError(TavoCamera& camera) {
    // Some refusals leave no text behind.
    const std::string reason = camera.getLastError();
    return reason == "No error" ? "the camera gave no reason" : reason;
}

Cameras listedCameras(Environment& environment) {
    Cameras cameras = environment.listCameras();
    if (cameras.empty())
        throw Failure(kNoCamera, "no camera found: connect one, switch it on and check with "
                                 "lsusb that the system sees it");
    for (const auto& camera : cameras)
        camera->setParam(MAX_PACKET_SIZE, kBulkReadSize);
    return cameras;
}

Session::Session(Environment& environment, const std::optional<std::string>& choice) {
    Cameras cameras = listedCameras(environment);
    opened = openChosen(cameras, choice);
    if (!opened->getCapabilities(nullptr, &family, &record)) {
        const std::string reason = lastError(*opened);
        opened->close();
        throw Failure(kCameraFailed, text("the camera does not tell what it can do: ", reason));
    }
}

Session::~Session() {
    opened->close();
}

} // namespace tavocam
