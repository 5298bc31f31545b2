// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "exposure_clock.h"
#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

using std::chrono::system_clock;

// An exposure that is aborted unless its readout was requested. After that request the camera must
// not be asked for anything but the image: it stays locked until then.
class RunningExposure {
public:
    RunningExposure(Environment& surroundings, TavoCamera& running)
        : environment(surroundings), camera(running) {}
    ~RunningExposure() {
        if (!readoutRequested && !camera.abortExposure())
            environment.err << "tavocam: the abort failed, so the shutter may still be open: "
                               "switch the camera off and on again\n";
    }
    RunningExposure(const RunningExposure&) = delete;
    RunningExposure& operator=(const RunningExposure&) = delete;

    void keepForReadout() { readoutRequested = true; }

private:
    Environment& environment;
    TavoCamera& camera;
    bool readoutRequested = false;
};

system_clock::duration clockDuration(double seconds) {
    return std::chrono::duration_cast<system_clock::duration>(
        std::chrono::duration<double>(seconds));
}

// The part of a long exposure that the readout request itself adds. delay() serves up to 2147 s;
// what it takes off does not depend on the length.
double readoutShare(TavoCamera& camera, double seconds) {
    const double asked = std::min(seconds, 1000.0);
    return asked - camera.delay(asked) / 1e6;
}

void exposeTimed(Environment& environment, Session& session, Progress& progress,
                 const ExposurePlan& plan, Exposure& exposure) {
    TavoCamera& camera = session.camera();
    RunningExposure running(environment, camera);
    const auto& [x, y, width, height] = plan.window;
    constexpr double kWorthTelling = 1; // seconds; the camera tells nothing until it is done
    if (plan.seconds > kWorthTelling)
        progress.show(text("exposing for ", plan.seconds, " s"));
    const auto before = environment.clock.utc();
    if (!camera.readCCD(x, y, width, height, plan.binning.x, plan.binning.y, plan.seconds))
        throw Failure(kCameraFailed, text("the camera refused the exposure: ", lastError(camera)));
    running.keepForReadout();
    exposure.seconds = timedExposure(session.type(), plan.seconds);
    // The request returns when the exposure is over; a register-mapped camera's returns sooner.
    exposure.start = std::max(before, environment.clock.utc() - clockDuration(exposure.seconds));
}

void exposeLong(Environment& environment, TavoCamera& camera, Progress& progress,
                const ExposurePlan& plan, Exposure& exposure) {
    RunningExposure running(environment, camera);
    if (!camera.startExposure(false))
        throw Failure(kCameraFailed,
                      text("the camera did not start the exposure: ", lastError(camera)));
    const double started = environment.clock.monotonic();
    exposure.start = environment.clock.utc();
    const double share = readoutShare(camera, plan.seconds);
    waitUntil(environment, started + plan.seconds - share, [&](double remaining) {
        progress.show(progressBar("exposing", remaining + share, plan.seconds));
    });
    exposure.seconds = environment.clock.monotonic() - started + share;
    progress.show("reading out");
    const auto& [x, y, width, height] = plan.window;
    if (!camera.readCCD(x, y, width, height, plan.binning.x, plan.binning.y))
        throw Failure(kCameraFailed,
                      text("the camera did not start the readout: ", lastError(camera)));
    running.keepForReadout();
}

void fetch(TavoCamera& camera, Frame& frame) {
    try {
        if (!camera.getImage(frame.pixels.data(), static_cast<unsigned>(frame.pixels.size())))
            throw Failure(kCameraFailed, text("the image could not be fetched: ", lastError(camera),
                                              "; check the cable and expose again"));
    } catch (const std::bad_alloc&) {
        throw Failure(kCameraFailed, "there is not enough memory for a whole frame of this "
                                     "camera: close other programs and expose again");
    }
}

// Cameras of this family send two pixels too few, so the buffer's end holds none.
void fillMissingPixels(CAMERA_TYPE type, Exposure& exposure) {
    constexpr std::size_t kMissing = 2;
    auto& pixels = exposure.frame.pixels;
    if (type != LUMEN_CAMERA || pixels.size() <= kMissing)
        return;
    std::fill(pixels.end() - kMissing, pixels.end(), *(pixels.end() - kMissing - 1));
    exposure.comments.emplace_back("The last two pixels of the last row repeat the one before.");
}

} // namespace

Frame emptyFrame(TavoCamera& camera, const ExposurePlan& plan) {
    Frame frame;
    frame.width = camera.imageWidth(plan.window.width, plan.binning.x);
    frame.height = camera.imageHeight(plan.window.height, plan.binning.y);
    frame.pixels.resize(frame.width * frame.height);
    return frame;
}

Exposure expose(Environment& environment, Session& session, Progress& progress,
                const ExposurePlan& plan, Frame frame) {
    TavoCamera& camera = session.camera();
    checkInterrupt(environment);
    if (plan.closeShutter && !camera.setDarkFrameMode(true))
        throw Failure(kCameraFailed, "the camera refused to keep its shutter closed: cover the "
                                     "telescope and use --dark --covered");
    Exposure exposure;
    exposure.frame = std::move(frame);
    if (plan.timed)
        exposeTimed(environment, session, progress, plan, exposure);
    else
        exposeLong(environment, camera, progress, plan, exposure);
    fetch(camera, exposure.frame);
    progress.wipe();
    checkInterrupt(environment);
    fillMissingPixels(session.type(), exposure);
    return exposure;
}

} // namespace tavocam
