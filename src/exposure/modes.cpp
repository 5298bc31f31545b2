// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The modes of readouts to come, and the arithmetic that applications need around them. Nothing
// here talks to the camera or takes its lock.
#include "core/conversion.h"
#include "core/families.h"
#include "core/messages.h"
#include "core/trace.h"
#include "exposure/region.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr tavo::PerFamily<bool> kHasPreview{
    .basin = true, .ridge = true, .heron = false, .glint = false, .lumen = true};
constexpr tavo::PerFamily<bool> kHas8Bit{
    .basin = false, .ridge = false, .heron = false, .glint = false, .lumen = true};
constexpr tavo::PerFamily<bool> kHasDarkFrame{
    .basin = false, .ridge = true, .heron = false, .glint = false, .lumen = false};

constexpr std::int64_t kBasinReadoutOverhead = 2000000; // microseconds

} // namespace

bool TavoCameraImpl::setPreviewMode(bool on) {
    trace::enter("TavoCameraImpl::setPreviewMode(%d)", on);
    if (on == previewMode) {
        trace::inside("not changed");
    } else if (kHasPreview.get(type, false)) {
        previewMode = on;
    } else {
        trace::leave("TavoCameraImpl::setPreviewMode 00");
        return refuse(message::kUnsupported);
    }
    trace::leave("TavoCameraImpl::setPreviewMode 1");
    return true;
}

bool TavoCameraImpl::set8BitMode(bool on) {
    trace::enter("TavoCameraImpl::set8BitMode(%d)", on);
    if (on != eightBitMode) {
        if (!kHas8Bit.get(type, false)) {
            trace::leave("TavoCameraImpl::set8BitMode 00");
            return refuse(message::kUnsupported);
        }
        eightBitMode = on;
    }
    trace::leave("TavoCameraImpl::set8BitMode 1");
    return true;
}

// Refuses without a text, unlike its siblings: applications show the last error that they find.
bool TavoCameraImpl::setDarkFrameMode(bool on) {
    trace::enter("TavoCameraImpl::setDarkFrameMode(%d)", on);
    const bool ok = on == darkFrameMode || kHasDarkFrame.get(type, false);
    if (ok)
        darkFrameMode = on;
    trace::leave(ok ? "TavoCameraImpl::setDarkFrameMode 1" : "TavoCameraImpl::setDarkFrameMode 00");
    return ok;
}

std::int64_t TavoCameraImpl::readoutOverhead() const {
    switch (type) {
    case BASIN_CAMERA: return kBasinReadoutOverhead;
    case HERON_CAMERA: return quickerReadCCDDelay;
    case LUMEN_CAMERA: return vregClearTime;
    case RIDGE_CAMERA:
    case GLINT_CAMERA: break;
    }
    return 0;
}

// The product is truncated to 32 bits, then taken as unsigned.
unsigned TavoCameraImpl::delay(double seconds) {
    const auto wanted = static_cast<std::uint32_t>(tavo::truncateToInt32(seconds * 1000000.0));
    const std::int64_t overhead = readoutOverhead();
    return std::int64_t{wanted} > overhead ? wanted - static_cast<std::uint32_t>(overhead) : 0;
}

// A LUMEN_CAMERA rounds widths up, and sends 8-bit rows in pairs of pixels.
unsigned TavoCameraImpl::imageWidth(unsigned width, unsigned bin) {
    if (type != LUMEN_CAMERA || bin == 0)
        return tavo::binned(width, bin);
    const unsigned pixels = (width + bin - 1) / bin;
    return eightBitMode ? (pixels + 1) & ~1u : pixels;
}

unsigned TavoCameraImpl::imageHeight(unsigned height, unsigned bin) {
    return tavo::binned(height, bin);
}
