// SPDX-License-Identifier: LGPL-2.1-or-later
//
// From a trigger to the bytes of a frame: the formats, the exposure that the camera times itself,
// and the buffer that holds one frame until the host fetches it.
#pragma once

#include "../camera/instrument.h"
#include "../camera/model.h"
#include "../controller/clock.h"
#include "../controller/fifo.h"
#include "../controller/journal.h"
#include "features.h"

#include <cstdint>
#include <optional>

namespace tavo::virtualcamera {

class Imager {
public:
    // All of it outlives the imager.
    Imager(const Model& model_, Instrument& instrument_, const Clock& clock_, Fifo& fifo_,
           const Journal& journal_)
        : model(model_), instrument(instrument_), clock(clock_), fifo(fifo_), journal(journal_) {}

    // As at power-up: no format, no frame.
    void reset();

    // A format, and then one of its modes. Both give up the frame under way and drop one that no
    // one has fetched. A format or mode that the camera does not have leaves it without a mode.
    void selectFormat(std::uint32_t value);
    void selectMode(std::uint32_t value);
    std::uint32_t format() const { return formatWord; }
    std::uint32_t mode() const { return modeWord; }

    // Exposes one frame, as the features stand now. REQUIRES: the instrument is at the present.
    void trigger(const Features& features);
    bool busy() const { return clock.now() < readAt; }
    // The last format, mode or trigger was refused.
    bool failed() const { return error; }

private:
    void dropFrame(const char* reason);
    void refuse(const char* reason);

    const Model& model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    const Journal& journal;
    std::uint32_t formatWord = 0;
    std::uint32_t modeWord = 0;
    std::optional<unsigned> binning; // of the mode, when one is chosen
    bool error = false;
    Microseconds readAt = 0; // when the whole frame is in the buffer
};

} // namespace tavo::virtualcamera
