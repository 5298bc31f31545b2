// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The camera under test, by the public header alone.
#pragma once

#include "frame.h"

#include <tavoccdusb.h>

#include <chrono>
#include <memory>
#include <string>

namespace acceptance {

struct CloseAndDestroy {
    void operator()(TavoCamera* camera) const {
        camera->close();
        TavoCamera_destroy(camera);
    }
};
using CameraPointer = std::unique_ptr<TavoCamera, CloseAndDestroy>;

// For how long light may have gathered in an exposure that the host timed, in seconds of the
// camera's time.
struct Duration {
    double least, most;
};

class Camera {
public:
    // `speed` is how many times faster than the host's the camera's time passes.
    Camera(CameraPointer camera_, double speed_) : camera(std::move(camera_)), speed(speed_) {}

    TavoCamera* operator->() const { return camera.get(); }
    // Reads the description anew. REQUIRES for all that follows: done once, with an open camera.
    void describe();
    const TavoCapabilities& caps() const { return capabilities; }
    CAMERA_TYPE family() const { return type; }
    std::string name() const { return camera->getName(); }

    Window fullFrame() const;
    // Throw a Failure when the camera refuses.
    Frame exposeTimed(const Window& window, double seconds);
    // The same in two steps.
    void requestTimed(const Window& window, double seconds);
    Frame fetch(const Window& window);
    Frame exposeLong(const Window& window, double hostSeconds, Duration* lasted = nullptr);
    // Ends a long exposure. Tells when the camera had taken the request.
    Frame readOut(const Window& window, std::chrono::steady_clock::time_point* taken = nullptr);
    // What the readout request adds to a long exposure, in seconds.
    double addedByReadout() const;
    float temperature();

    // Waits for a time of the camera.
    void pause(double cameraSeconds) const;
    double cameraSeconds(std::chrono::duration<double> hostTime) const {
        return hostTime.count() * speed;
    }
    double timeFactor() const { return speed; }

    // Pixel modes as they were set, which decide what pixels look like.
    void setEightBit(bool on);

private:
    struct Instants {
        std::chrono::steady_clock::time_point asked, started, reading, read;
    };
    Duration durationOf(const Instants& at) const;

    CameraPointer camera;
    double speed;
    TavoCapabilities capabilities{};
    CAMERA_TYPE type = RIDGE_CAMERA;
    bool eightBit = false;
};

// Throws a Failure that names the operation and the error text, unless `success`.
void require(const Camera& camera, bool success, const std::string& operation);

const char* familyName(CAMERA_TYPE family);

} // namespace acceptance
