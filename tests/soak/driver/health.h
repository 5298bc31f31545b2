// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A night's work with a camera that has nothing wrong with it.
#pragma once

#include "host.h"
#include "reference.h"
#include "watched_camera.h"

#include <memory>

namespace tavo::soak {

// The camera that is plugged in; null, and a finding, when there is none for seconds.
std::unique_ptr<WatchedCamera> findCamera(Host& host);

// What the camera is like. Opens and closes it.
Reference learn(WatchedCamera& camera, Host& host);

// Opens the camera, takes pictures both ways, compares them with what a sound one takes, and closes
// it. True when all was well; else there are findings.
bool isHealthy(WatchedCamera& camera, Host& host, const Reference& reference);

} // namespace tavo::soak
