// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Opening and closing. Once the device is open the outcome is carried by one flag: after the first
// failure every device step is skipped, while pauses and the flush still happen.
#include "core/clock.h"
#include "core/families.h"
#include "core/messages.h"
#include "core/trace.h"
#include "link/bytes.h"
#include "link/eeprom.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;
using tavo::PerFamily;

namespace {

constexpr int kInterface = 0;
constexpr int kAlternateSetting = 1;

constexpr PerFamily<bool> kHasController{
    .basin = true, .ridge = true, .heron = true, .glint = false, .lumen = true};
constexpr PerFamily<bool> kNeedsPresets{
    .basin = true, .ridge = true, .heron = true, .glint = false, .lumen = false};
constexpr PerFamily<bool> kNeedsRunTimeouts{
    .basin = false, .ridge = true, .heron = true, .glint = false, .lumen = true};

constexpr long kControllerStartPause = 200000; // microseconds
constexpr long kRetryPause = 5000000;          // microseconds
constexpr int kMostRetries = 4;

constexpr unsigned kNoProductId = 0x2005; // stands in where the EEPROM was not read

} // namespace

bool TavoCameraImpl::open() {
    trace::enter("TavoCameraImpl::open()");
    if (handle) {
        trace::leave("TavoCameraImpl::open 01");
        return true;
    }
    if (!openDevice())
        return false;
    bool ok = claimInterface();
    if (kHasController.get(type, false))
        ok = prepareController(ok);
    unsigned productId = kNoProductId;
    if (ok && type != GLINT_CAMERA)
        ok = readProductId(&productId);
    trace::inside("pid = %0x", productId);
    versionMajor = versionMinor = serialNumber = 0;

    const BringUp outcome = bringUp(ok, productId);
    // Stays the last thing said here, so that optimised builds wait for a silent camera in a flat
    // stack, however many nights that takes.
    if (outcome == BringUp::retry) {
        waitForRetry();
        return open();
    }

    ok = outcome == BringUp::done;
    if (kNeedsRunTimeouts.get(type, false))
        ok = ok && i2cSetTimeout(200) && setParTimeout(2000);
    return finishOpen(ok);
}

// The lock is freed on every failing exit of open, though open never takes it.
bool TavoCameraImpl::openDevice() {
    const int r = libusb_open(device, &handle);
    if (r >= 0)
        return true;
    handle = nullptr;
    unlock();
    refuse(message::kOpenFailed);
    trace::inside("libusb_open() -> %s", libusb_error_name(r));
    trace::leave("TavoCameraImpl::open 00");
    return false;
}

bool TavoCameraImpl::claimInterface() {
    if (libusb_kernel_driver_active(handle, kInterface) == 1) {
        const int r = libusb_detach_kernel_driver(handle, kInterface);
        trace::inside("libusb_detach_kernel_driver() -> %s", libusb_error_name(r));
    }
    int r = libusb_claim_interface(handle, kInterface);
    trace::inside("libusb_claim_interface() -> %s", libusb_error_name(r));
    if (r == 0 && type != GLINT_CAMERA) {
        r = libusb_set_interface_alt_setting(handle, kInterface, kAlternateSetting);
        trace::inside("libusb_set_interface_alt_setting() -> %s", libusb_error_name(r));
    }
    return r == 0;
}

bool TavoCameraImpl::prepareController(bool ok) {
    ok = ok && writeFW();
    if (kNeedsPresets.get(type, false)) {
        ok = ok && setPortDirection(0, 0x9F);
        ok = ok && setPortState(0, 0x80);
        ok = ok && i2cSetTimeout(50);
        ok = ok && setParTimeout(50);
        ok = ok && i2cSetSpeed(0);
    }
    tavo::sleepms(kControllerStartPause);
    flush();
    return ok;
}

// The colour probe runs even where the id could not be read.
bool TavoCameraImpl::readProductId(unsigned* productId) {
    unsigned char id[2] = {};
    bool ok = i2cSetTimeout(5000);
    ok = ok && eepRead(tavo::eeprom::kProductId, id, sizeof id);
    *productId = tavo::u16le(id);
    checkColour();
    return ok;
}

TavoCameraImpl::BringUp TavoCameraImpl::bringUp(bool ok, unsigned productId) {
    switch (type) {
    case BASIN_CAMERA: return bringUpBasin(ok);
    case RIDGE_CAMERA: return bringUpRidge(ok, productId);
    case HERON_CAMERA: return bringUpHeron(ok);
    case GLINT_CAMERA: return bringUpGlint(ok);
    case LUMEN_CAMERA: return bringUpLumen(ok);
    }
    trace::inside("unsupported device!!!");
    return BringUp::failed;
}

// A camera that gives no sign of life may still be starting up.
TavoCameraImpl::BringUp TavoCameraImpl::retryAllowed() const {
    return openRetryCounter <= kMostRetries ? BringUp::retry : BringUp::failed;
}

// The counter is set, never raised: the camera is tried until it answers.
void TavoCameraImpl::waitForRetry() {
    openRetryCounter = 1;
    libusb_close(handle);
    handle = nullptr;
    unlock();
    trace::inside("failed to connect device!!!");
    trace::leave("TavoCameraImpl::open 00 - retry");
    tavo::sleepms(kRetryPause);
}

bool TavoCameraImpl::finishOpen(bool ok) {
    if (!ok) {
        libusb_close(handle);
        handle = nullptr;
        unlock();
        refuse(message::kInitializeFailed);
        trace::inside("failed to initialize device!!!");
        trace::leave("TavoCameraImpl::open 00");
        return false;
    }
    trace::leave("TavoCameraImpl::open %d", handle != nullptr);
    return handle != nullptr;
}

void TavoCameraImpl::close() {
    trace::enter("TavoCameraImpl::close()");
    if (handle) {
        libusb_close(handle);
        handle = nullptr;
    }
    trace::leave("TavoCameraImpl::close");
}
