// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/flags.h"
#include "bringup/property_codec.h"
#include "tavocameraimpl.h"

namespace {

struct SensorSize {
    unsigned productId, x, y;
};

// Two models' counts are replaced, whatever they report.
constexpr SensorSize kKnownSizes[] = {{0xDF31, 3326, 2504}, {0xDF50, 4499, 3599}};

} // namespace

TavoCameraImpl::PixelCounts TavoCameraImpl::knownPixelCounts(unsigned productId) {
    for (const SensorSize& size : kKnownSizes)
        if (size.productId == productId)
            return {size.x, size.y};
    return {};
}

bool TavoCameraImpl::describeRidge(unsigned productId) {
    unsigned flags = 0;
    bool ok = sendCommand(1);
    ok = ok && readVersion();
    ok = ok && readNames();
    ok = ok && readFlags(tavo::flag::kTracedByRidge, &flags);
    if (ok) {
        hasShutter = (flags & tavo::flag::kHasShutter) != 0;
        hasGuidePort = (flags & tavo::flag::kNoGuidePort) == 0;
        hasFilterWheel = (flags & tavo::flag::kHasFilterWheel) != 0;
        // The GPIO bit is traced, but no camera of this family is taken to have lines.
        has8BitMode = hasGPIO = false;
    }
    ok = ok && readPixelCounts({.excess = 0, .instead = knownPixelCounts(productId)});
    ok = ok && readPixelSizes();
    ok = ok && readBinning();
    return ok && readWellCapacity();
}

TavoCameraImpl::BringUp TavoCameraImpl::bringUpRidge(bool ok, unsigned productId) {
    ok = ok && setParTimeout(1000);
    ok = ok && parInit(9);
    ok = ok && ping();
    ok = ok && describeRidge(productId);
    ok = ok && appInit();
    ok = ok && learnTemperatureSensors(tavo::decodeSensorCount);
    ok = ok && learnCooler(tavo::decodeRidgeCooler);
    if (hasFilterWheel)
        ok = settleFilterWheel(ok);
    ok = ok && readEepromSerial();
    return result(ok);
}
