// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session.h"

#include <utility>

#include "camera_choice.h"
#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

// The driver's default asks for more in one read than stock kernels grant (16 MiB for all of a
// process's transfers); a multiple of 512 of this size is granted everywhere.
constexpr long kBulkReadSize = 1024 * 1024; // bytes

// The driver reads these cameras' registers blindly, so that one which does not answer opens, too.
bool isSilent(TavoCamera& camera, CAMERA_TYPE type) {
    return type == GLINT_CAMERA && camera.getVersionMajor() == 0 && camera.getVersionMinor() == 0 &&
           camera.getSerialNumber() == 0;
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

Session::Session(Environment& environment, const std::optional<std::string>& choice, bool quiet) {
    Cameras cameras = listedCameras(environment);
    auto chosen = openChosen(environment, cameras, choice, quiet);
    opened = std::move(chosen.camera);
    connection = chosen.presence;
    if (!opened->getCapabilities(nullptr, &family, &record)) {
        const std::string reason = lastError(*opened);
        opened->close();
        throw Failure(kCameraFailed, text("the camera does not tell what it can do: ", reason));
    }
    if (!isSilent(*opened, family))
        return;
    opened->close();
    throw Failure(kCannotOpen,
                  text("cannot open ", opened->getName(), ": it does not answer. ",
                       connection.isGone(environment) ? text(kGone, ".")
                                                      : "Plug it in again and check its cable."));
}

Session::~Session() {
    opened->close();
}

} // namespace tavocam
