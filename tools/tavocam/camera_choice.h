// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_CAMERA_CHOICE_H
#define TAVOCAM_CAMERA_CHOICE_H

#include <memory>
#include <optional>
#include <string>

#include "environment.h"
#include "presence.h"

namespace tavocam {

struct Chosen {
    std::unique_ptr<TavoCamera> camera; // open
    Presence presence;
};

// Opens one of the cameras, of which there is at least one: the only one, or the one that `choice`
// tells by "index:N", "serial:N", the model's name, or a bare N: an index where there is one, a
// serial number otherwise. Throws Failure.
Chosen openChosen(Environment& environment, Cameras& cameras,
                  const std::optional<std::string>& choice, bool quiet);

} // namespace tavocam

#endif
