// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The controller's I2C master and the EEPROM on it.
#include "core/trace.h"
#include "link/bytes.h"
#include "link/controller_requests.h"
#include "tavocameraimpl.h"

#include <algorithm>

namespace trace = tavo::trace;
namespace request = tavo::request;

namespace {
constexpr unsigned kEepromAddress = 0x51;
}

bool TavoCameraImpl::i2cSetSpeed(unsigned speed) {
    trace::enter("TavoCameraImpl::i2cSetSpeed(%d)", speed);
    const bool ok = bulkTransfer(request::kI2CSpeed, false, speed, 0, 0, nullptr, nullptr, 0, 0);
    trace::leave("TavoCameraImpl::i2cSetSpeed %d", ok);
    return ok;
}

bool TavoCameraImpl::i2cSetTimeout(unsigned timeout) {
    trace::enter("TavoCameraImpl::i2cSetTimeout(%d)", timeout);
    const bool ok = bulkTransfer(request::kTimeout, false, request::kTimeoutOfI2C, timeout, 0,
                                 nullptr, nullptr, 0, 0);
    trace::leave("TavoCameraImpl::i2cSetTimeout %d", ok);
    return ok;
}

bool TavoCameraImpl::i2cWrite(unsigned address, const unsigned char* data, unsigned length) {
    trace::enter("TavoCameraImpl::i2cWrite(%d, %s, %d)", address, trace::dump(data, length),
                 length);
    const auto payload = tavo::zeroedBuffer(std::size_t{length} + 1);
    bool ok = false;
    if (payload) {
        payload[0] = static_cast<unsigned char>(address * 2);
        std::copy_n(data, length, payload.get() + 1);
        ok = bulkTransfer(request::kI2C, true, 0, 0, 1, payload.get(), nullptr, length + 1, 0);
    }
    trace::leave("TavoCameraImpl::i2cWrite %d", ok);
    return ok;
}

bool TavoCameraImpl::i2cRead(unsigned address, unsigned char* buffer, unsigned length) {
    trace::enter("TavoCameraImpl::i2cRead(%d, ..., %d)", address, length);
    const unsigned char readAddress = static_cast<unsigned char>(address * 2 + 1);
    const bool ok = bulkTransfer(request::kI2C, true, 0, 0, 1, &readAddress, buffer, 1, length);
    trace::leave("TavoCameraImpl::i2cRead %d %s", ok, trace::dump(buffer, length));
    return ok;
}

// Only the low byte of the address travels; the EEPROM has 256 bytes.
bool TavoCameraImpl::eepRead(unsigned address, unsigned char* buffer, unsigned length) {
    trace::enter("TavoCameraImpl::eepRead(%d, ..., %d)", address, length);
    const unsigned char pointer[2] = {0x00, static_cast<unsigned char>(address)};
    const bool ok = i2cWrite(kEepromAddress, pointer, 2) && i2cRead(kEepromAddress, buffer, length);
    trace::leave("TavoCameraImpl::eepRead %d %s", ok, trace::dump(buffer, length));
    return ok;
}
