// SPDX-License-Identifier: LGPL-2.1-or-later
#include <array>
#include <csignal>
#include <iostream>

#include <unistd.h>

#include "interrupt.h"
#include "tavocam.h"

namespace {

tavocam::Cameras listCameras() {
    constexpr int kMostCameras = 64;
    std::array<TavoCamera*, kMostCameras> found{};
    const int count = TavoCamera::list(found.data(), kMostCameras);
    tavocam::Cameras cameras;
    for (int index = 0; index < count; ++index)
        cameras.emplace_back(found[static_cast<std::size_t>(index)]);
    return cameras;
}

} // namespace

int main(int argc, char** argv) {
    // A closed pipe or a file size limit is an error to be told, not a reason to leave the camera
    // open and the shutter where it is.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const tavocam::SignalHandlers handlers;
    tavocam::SystemClock clock;
    tavocam::Environment environment{std::cout,
                                     std::cerr,
                                     clock,
                                     listCameras,
                                     tavocam::rememberedSignal,
                                     isatty(STDERR_FILENO) == 1};
    return tavocam::run({argv + 1, argv + argc}, environment);
}
