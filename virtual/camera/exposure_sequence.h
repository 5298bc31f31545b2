// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The order in which a camera's firmware lets commands lead from an empty sensor to an image.
#pragma once

#include "../controller/fifo.h"
#include "instrument.h"

#include <optional>

namespace tavo::virtualcamera {

class ExposureSequence {
public:
    // Both outlive the sequence.
    ExposureSequence(Instrument& instrument_, Fifo& fifo_) : instrument(instrument_), fifo(fifo_) {}

    // Back to the beginning; an exposure under way is lost.
    void reset();
    void prepare();
    // The next three are refused with false when they come out of order. Clearing throws away an
    // image that no one has fetched, or the next one would come after it.
    bool clear();
    bool start();
    bool finish();

    bool isExposing() const { return stage == Stage::exposing; }
    bool isExposed() const { return stage == Stage::exposed; }

    // For both: the sequence is at its beginning again. REQUIRES: isExposed().
    Exposure take();
    // An exposure that the camera times itself and that starts now, from whatever stage.
    Exposure takeTimed(double seconds, bool light);

private:
    enum class Stage { idle, prepared, cleared, exposing, exposed };

    Instrument& instrument;
    Fifo& fifo;
    Stage stage = Stage::idle;
    std::optional<Exposure> exposed;
};

} // namespace tavo::virtualcamera
