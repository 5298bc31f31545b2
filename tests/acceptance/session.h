// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One run: the camera, and what the steps so far have learnt about it.
#pragma once

#include "camera.h"
#include "expected_stars.h"
#include "options.h"
#include "photometry.h"
#include "report.h"

#include <optional>
#include <string>

namespace acceptance {

struct Session {
    const Options& options;
    Report& report;
    Camera camera;

    std::optional<ExpectedStars> stars; // none without a virtual sky
    Window window{};                    // where most checks look
    double exposure = 0;                // seconds, of most checks
    PixelOffset shift;                  // of the field, by guide pulses
    tavo::virtualcamera::Passband filter{1, 1, 1};
    std::optional<double> unitsPerElectron;

    // The first red pixel of a colour sensor.
    std::optional<MosaicPhase> mosaic() const;

    // Learns from the capabilities where to look and how long.
    void plan();

    // The stars of a picture against those of the catalogue.
    Comparison compared(const Frame& frame) const;
    // Throws a Failure when the stars of a picture are not those of the catalogue. Without a
    // virtual sky the picture must at least not be empty.
    Comparison expectSky(const Frame& frame) const;
    // The same, and as bright as `seconds` of exposure make them. Tells what was found.
    std::string expectSky(const Frame& frame, double seconds) const;
    // The same for an exposure that the host timed.
    std::string expectSky(const Frame& frame, const Duration& lasted) const;
    // For how long light gathered in a picture, by its stars. REQUIRES: unitsPerElectron.
    double secondsByLight(const Comparison& seen, const Frame& frame) const;
    // Without a virtual sky that is all there is to tell of a picture.
    static std::string plainly(const Background& sky);

private:
    void chooseWindow(const Size& small, const Size& large);
};

} // namespace acceptance
