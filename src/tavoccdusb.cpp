// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The camera object itself: construction, its lock, its plain accessors.
#include "tavocameraimpl.h"

#include "core/trace.h"

namespace trace = tavo::trace;

int TavoHostBulkTimeout = 30000;

TavoCameraImpl::TavoCameraImpl(libusb_device* usbDevice, const char* modelName, CAMERA_TYPE family)
    : device(usbDevice), name(modelName), type(family),
      bulkTimeout(static_cast<std::uint32_t>(TavoHostBulkTimeout)) {
    trace::enter("TavoCameraImpl::TavoCameraImpl(..., %s, %d)", name, type);
    if (type == HERON_CAMERA) {
        trace::inside("quickerStartExposureDelay = %ld",
                      static_cast<long>(quickerStartExposureDelay));
        trace::inside("quickerReadCCDDelay = %ld", static_cast<long>(quickerReadCCDDelay));
    }
    trace::inside("maxPacketSize = %ld", static_cast<long>(maxPacketSize));
    trace::leave("TavoCameraImpl::TavoCameraImpl");
}

void TavoCameraImpl::lock() {
    const bool busy = !mutex.tryAcquire();
    trace::inside("lock()");
    if (busy) {
        trace::inside("lock busy");
        mutex.acquire();
    }
}

void TavoCameraImpl::unlock() {
    trace::inside("unlock()");
    mutex.release();
}

const char* TavoCameraImpl::getName() {
    return name;
}

unsigned TavoCameraImpl::getSerialNumber() {
    return serialNumber;
}

unsigned TavoCameraImpl::getVersionMajor() {
    return versionMajor;
}

unsigned TavoCameraImpl::getVersionMinor() {
    return versionMinor;
}

const char* TavoCameraImpl::getLastError() {
    return lastError;
}
