// SPDX-License-Identifier: LGPL-2.1-or-later
#include "guest_program.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace guest {
namespace {

int failures = 0;

} // namespace

void check(bool holds, const std::string& what) {
    std::printf("%s: %s\n", holds ? "ok" : "FAILED", what.c_str());
    // The console is no terminal to the C library, and the machine may be switched off at once.
    std::fflush(stdout);
    failures += holds ? 0 : 1;
}

void checkRefused(TavoCamera& camera, bool result, const std::string& operation, const char* text) {
    const char* told = camera.getLastError();
    std::string seen = "it returned true";
    if (!result)
        seen = told ? told : "no text";
    check(!result && told && std::strcmp(told, text) == 0,
          operation + " returns false with \"" + text + "\"; seen: " + seen);
}

void giveUp(const std::string& what) {
    check(false, what);
    std::exit(verdict());
}

int verdict() {
    return failures == 0 ? 0 : 1;
}

bool waitFor(const std::function<bool()>& condition) {
    constexpr int kTries = 300;
    constexpr std::chrono::milliseconds kPause(100);
    for (int n = 0; n < kTries; ++n, std::this_thread::sleep_for(kPause))
        if (condition())
            return true;
    return false;
}

CameraPointer findCamera() {
    TavoCamera* camera = nullptr;
    return CameraPointer(TavoCamera::list(&camera, 1) == 1 ? camera : nullptr);
}

Window sensorOf(TavoCamera& camera) {
    TavoCapabilities caps{};
    if (!camera.getCapabilities(nullptr, nullptr, &caps))
        giveUp("the camera tells what it can do");
    return {caps.pixelCountX, caps.pixelCountY};
}

void requestImage(TavoCamera& camera, const Window& window) {
    constexpr double kSeconds = 0.01; // within every family's range
    if (!camera.readCCD(0, 0, window.width, window.height, 1, 1, kSeconds))
        giveUp("an image can be asked for");
}

} // namespace guest
