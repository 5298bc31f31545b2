// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/flags.h"
#include "bringup/property_codec.h"
#include "link/gpif_tables.h"
#include "tavocameraimpl.h"

bool TavoCameraImpl::contactBasin(bool ok) {
    ok = ok && i2cSetTimeout(100);
    ok = ok && setParTimeout(1000);
    ok = ok && parInit(1);
    ok = ok && parInit(tavo::ParInitData.data());
    return ok && ping();
}

bool TavoCameraImpl::describeBasin() {
    unsigned flags = 0;
    bool ok = sendCommand(10);
    ok = ok && readVersion();
    ok = ok && readNames();
    ok = ok && readFlags(tavo::flag::kTracedByBasin, &flags);
    hasShutter = hasGuidePort = has8BitMode = hasFilterWheel = hasGPIO = false;
    // This generation reports each count one too high.
    ok = ok && readPixelCounts({.excess = 1, .instead = {}});
    ok = ok && readPixelSizes();
    ok = ok && readBinning();
    return ok && readWellCapacity();
}

TavoCameraImpl::BringUp TavoCameraImpl::bringUpBasin(bool ok) {
    ok = contactBasin(ok);
    if (!ok)
        return retryAllowed();
    ok = describeBasin();
    ok = ok && appInit();
    ok = ok && learnTemperatureSensors(tavo::decodeSensorCount);
    ok = ok && learnCooler(tavo::decodeBasinCooler);
    ok = ok && readEepromSerial();
    return result(ok);
}
