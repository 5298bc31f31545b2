// SPDX-License-Identifier: LGPL-2.1-or-later
//
// BASIN and RIDGE cameras describe themselves field by field, in a fixed order.
#include "bringup/flags.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {
constexpr unsigned kNameSize = 32;
}

bool TavoCameraImpl::readVersion() {
    unsigned char version[4] = {};
    if (!getData(version, sizeof version))
        return false;
    versionMajor = version[2];
    versionMinor = version[0];
    trace::inside("version: %d.%d", versionMajor, versionMinor);
    return true;
}

bool TavoCameraImpl::readName(const char* label) {
    char text[kNameSize] = {};
    if (!getString(text, sizeof text))
        return false;
    trace::inside("%s: %s", label, text);
    return true;
}

bool TavoCameraImpl::readNames() {
    return readName("model") && readName("manufacturer");
}

bool TavoCameraImpl::readFlags(unsigned traced, unsigned* flags) {
    *flags = 0;
    if (!getData(flags))
        return false;
    trace::inside("flags: 0x%0x %s", *flags, tavo::flagNames(*flags, traced).c_str());
    return true;
}

bool TavoCameraImpl::readPixelCounts(PixelCountRule rule) {
    pixelCountX = pixelCountY = 0;
    for (std::uint32_t* count : {&pixelCountX, &pixelCountY}) {
        if (!getData(count))
            return false;
        *count -= rule.excess;
    }
    if (rule.instead.x != 0) {
        pixelCountX = rule.instead.x;
        pixelCountY = rule.instead.y;
    }
    trace::inside("pixel count: %d x %d", pixelCountX, pixelCountY);
    return true;
}

bool TavoCameraImpl::readPixelSizes() {
    unsigned sizeX = 0, sizeY = 0; // hundredths of a micrometre
    if (!getData(&sizeX) || !getData(&sizeY))
        return false;
    pixelSizeX = sizeX / 100.0;
    pixelSizeY = sizeY / 100.0;
    trace::inside("pixel size: %3.1f x %3.1f", pixelSizeX, pixelSizeY);
    return true;
}

bool TavoCameraImpl::readBinning() {
    maxBinX = maxBinY = 0;
    if (!getData(&maxBinX) || !getData(&maxBinY))
        return false;
    trace::inside("max bin: %d x %d", maxBinX, maxBinY);
    return true;
}

bool TavoCameraImpl::readWellCapacity() {
    unsigned capacity = 0;
    if (!getData(&capacity))
        return false;
    trace::inside("well capacity: %d", capacity);
    return true;
}
