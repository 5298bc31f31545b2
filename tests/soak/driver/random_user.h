// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Somebody who does whatever the header allows, and much that it refuses, in any order. What the
// header says would wait for ever is left out.
#pragma once

#include "../dice.h"
#include "host.h"
#include "watched_camera.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace tavo::soak {

class RandomUser {
public:
    RandomUser(Host& host, std::uint64_t seed);

    void work();
    // Ends what is under way and closes the camera: what is left may be opened again. Null when
    // there is none.
    std::unique_ptr<WatchedCamera> leave();

private:
    void step();
    void findCamera();
    void whileClosed();
    void whileOpen();
    void whileImagePending();
    void exposeAndFetch();
    void exposeWhilePolled();
    void askAnything();
    void changeAnything();
    void changeParameter();
    void fetch();
    Window anyWindow();
    double anySeconds();

    Host& host;
    Dice dice;
    std::unique_ptr<WatchedCamera> camera;
    Window last;
    bool toldOpen = false;
};

} // namespace tavo::soak
