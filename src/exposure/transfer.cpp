// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Fetching the image that a readout request left waiting.
#include "core/clock.h"
#include "core/families.h"
#include "core/messages.h"
#include "core/trace.h"
#include "exposure/pixels.h"
#include "tavocameraimpl.h"

#include <memory>

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr unsigned kBusyLine = 4;         // high while a HERON_CAMERA digitises
constexpr long kBusyPause = 5000;         // microseconds
constexpr unsigned kGlintEndpoint = 0x81; // frames come outside of the parallel link

constexpr tavo::PerFamily<bool> kRestoresTimeout{
    .basin = false, .ridge = true, .heron = true, .glint = false, .lumen = false};
constexpr unsigned kUsualTimeout = 1000; // milliseconds

unsigned char* asBytes(std::uint16_t* pixels) {
    return reinterpret_cast<unsigned char*>(pixels);
}

} // namespace

// Pixels arrive least significant byte first and are stored as they come.
bool TavoCameraImpl::fetchPixels(std::span<std::uint16_t> output) {
    const tavo::Stopwatch stopwatch;
    const bool ok = parIn(asBytes(output.data()), 2 * static_cast<unsigned>(output.size()));
    trace::inside("elapsed %g s", stopwatch.seconds());
    return ok;
}

// The first two pixels that this family sends are not part of the image.
bool TavoCameraImpl::fetchLumen(std::span<std::uint16_t> output) {
    if (!eightBitMode) {
        const bool ok = fetchPixels(output);
        tavo::dropLeadingPixels(output);
        return ok;
    }
    const std::span<std::uint8_t> bytes(asBytes(output.data()), output.size());
    const tavo::Stopwatch stopwatch;
    const bool ok = parIn(bytes.data(), static_cast<unsigned>(bytes.size()));
    tavo::dropLeadingPixels(bytes);
    tavo::widenBytes(output);
    trace::inside("elapsed %g s", stopwatch.seconds());
    return ok;
}

// Waits as long as the camera holds the line. A line that cannot be read is not held: a camera that
// was unplugged must not keep its caller for ever.
void TavoCameraImpl::awaitHeron() {
    const auto busy = [this] {
        unsigned state = 0;
        return getIOState(kBusyLine, &state) && state == 1;
    };
    for (bool held = busy(); held;) {
        held = busy();
        tavo::sleepms(kBusyPause);
    }
}

// The corrections run on a frame that did not arrive, too; so the staging array starts zeroed.
bool TavoCameraImpl::fetchHeron(std::span<std::uint16_t> output) {
    awaitHeron();
    unsigned char dummy[2] = {};
    if (!parIn(dummy, sizeof dummy)) {
        trace::inside("failed to read dummy word");
        return false;
    }
    const tavo::BinnedWindow window = readWindow();
    const std::uint32_t bytes = (prechargeSubtraction ? 4 : 2) * window.framePixels();
    if (prechargeSubtraction)
        trace::inside("copying buffer with precharge substraction %d x %d to %d, %d - %d, %d",
                      window.frameWidth, window.frameHeight, window.x, window.y, window.width,
                      window.height);
    const auto staging = std::make_unique<std::uint16_t[]>(std::size_t{bytes} / 2 + 1);
    const std::span<const std::uint16_t> samples(staging.get(), bytes / 2);
    const bool ok = parInWithLastByte(asBytes(staging.get()), bytes);
    if (prechargeSubtraction)
        tavo::subtractPrecharge(samples, window, prechargeOffset, output);
    else
        tavo::copyWindow(samples, window, output);
    return ok;
}

bool TavoCameraImpl::fetchGlint(std::span<std::uint16_t> output) {
    const tavo::BinnedWindow window = readWindow();
    const std::uint32_t pixels = window.framePixels();
    const auto staging = std::make_unique<std::uint8_t[]>(pixels);
    const tavo::Stopwatch stopwatch;
    const bool ok = bulkRead(kGlintEndpoint, pixels, staging.get());
    trace::inside("elapsed %g s", stopwatch.seconds());
    if (ok)
        tavo::expandHighBytes({staging.get(), pixels}, window, output);
    return ok;
}

tavo::BinnedWindow TavoCameraImpl::readWindow() const {
    return tavo::binnedWindow({readX, readY, readWidth, readHeight, readXBin, readYBin},
                              pixelCountX, pixelCountY);
}

bool TavoCameraImpl::fetch(std::span<std::uint16_t> output) {
    switch (type) {
    case BASIN_CAMERA:
    case RIDGE_CAMERA: return fetchPixels(output);
    case HERON_CAMERA: return fetchHeron(output);
    case GLINT_CAMERA: return fetchGlint(output);
    case LUMEN_CAMERA: return fetchLumen(output);
    }
    return false;
}

void TavoCameraImpl::finishTransfer(bool ok) {
    if (kRestoresTimeout.get(type, false) && !setParTimeout(kUsualTimeout))
        trace::inside("set timeout 1000 failed");
    unlock();
    if (!ok)
        refuse(message::kGetImageFailed);
}

bool TavoCameraImpl::getImage(unsigned short* buffer, unsigned size) {
    trace::enter("TavoCameraImpl::getImage(..., %u)", size);
    if (!readoutPending.exchange(false)) {
        trace::leave("TavoCameraImpl::getImage 00");
        return refuse(message::kOutOfSequence);
    }
    const std::span<std::uint16_t> output(buffer, size);
    const auto finish = [&](bool ok) {
        finishTransfer(ok);
        trace::leave("TavoCameraImpl::getImage %d %s", ok,
                     trace::dump(asBytes(buffer), output.size_bytes()));
        return ok;
    };
    try {
        return finish(fetch(output));
    } catch (...) { // no memory for a frame: the caller learns, the camera stays usable
        finish(false);
        throw;
    }
}
