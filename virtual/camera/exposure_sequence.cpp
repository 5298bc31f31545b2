// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure_sequence.h"

#include <utility>

namespace tavo::virtualcamera {

void ExposureSequence::reset() {
    instrument.dropExposure();
    exposed.reset();
    stage = Stage::idle;
}

void ExposureSequence::prepare() {
    reset();
    stage = Stage::prepared;
}

bool ExposureSequence::clear() {
    if (stage != Stage::prepared)
        return false;
    fifo.clear();
    stage = Stage::cleared;
    return true;
}

bool ExposureSequence::start() {
    if (stage != Stage::cleared)
        return false;
    instrument.startExposure();
    stage = Stage::exposing;
    return true;
}

bool ExposureSequence::finish() {
    if (stage != Stage::exposing)
        return false;
    exposed = instrument.finishExposure();
    stage = Stage::exposed;
    return true;
}

Exposure ExposureSequence::take() {
    stage = Stage::idle;
    return std::exchange(exposed, std::nullopt).value_or(Exposure{});
}

Exposure ExposureSequence::takeTimed(double seconds, bool light) {
    reset();
    return instrument.timedExposure(seconds, light);
}

} // namespace tavo::virtualcamera
