// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_SESSION_H
#define TAVOCAM_SESSION_H

#include <memory>
#include <optional>
#include <string>

#include "environment.h"
#include "presence.h"

namespace tavocam {

// An open camera, closed when the session ends.
class Session {
public:
    // Opens one of the listed cameras: the only one, or the one that `choice` tells by its index,
    // its name or its serial number. Says on the error stream what takes its time, unless quiet.
    // Throws Failure.
    Session(Environment& environment, const std::optional<std::string>& choice, bool quiet);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    TavoCamera& camera() { return *opened; }
    CAMERA_TYPE type() const { return family; }
    const TavoCapabilities& capabilities() const { return record; }
    const Presence& presence() const { return connection; }

private:
    std::unique_ptr<TavoCamera> opened;
    Presence connection;
    CAMERA_TYPE family{};
    TavoCapabilities record{};
};

// Every camera that is plugged in, ready to be opened; throws Failure when there is none.
Cameras listedCameras(Environment& environment);

// The camera's last error in a form that fits into a sentence.
std::string lastError(TavoCamera& camera);

} // namespace tavocam

#endif
