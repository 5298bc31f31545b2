// SPDX-License-Identifier: LGPL-2.1-or-later
#include "link/registers.h"

#include "core/trace.h"
#include "link/bytes.h"
#include "tavocameraimpl.h"

#include <bit>

namespace trace = tavo::trace;

namespace {
constexpr std::uint8_t kVendorIn = 0xC0, kVendorOut = 0x40;
constexpr std::uint8_t kRegisterRequest = 0x7F;
constexpr unsigned kRegisterTimeout = 3000; // milliseconds
} // namespace

// A failed read gives 0, which cannot be told from a register that holds it.
std::uint32_t TavoCameraImpl::readRegister(std::uint64_t address) {
    unsigned char value[4] = {};
    if (!handle)
        return 0;
    const int r = libusb_control_transfer(
        handle, kVendorIn, kRegisterRequest, static_cast<std::uint16_t>(address),
        static_cast<std::uint16_t>(address >> 16), value, sizeof value, kRegisterTimeout);
    return r < 0 ? 0 : tavo::u32le(value);
}

int TavoCameraImpl::writeRegister(std::uint64_t address, std::uint32_t value) {
    if (!handle)
        return LIBUSB_ERROR_NO_DEVICE;
    auto bytes = tavo::Payload<4>{}.u32le(value).done();
    return libusb_control_transfer(
        handle, kVendorOut, kRegisterRequest, static_cast<std::uint16_t>(address),
        static_cast<std::uint16_t>(address >> 16), bytes.data(), bytes.size(), kRegisterTimeout);
}

float TavoCameraImpl::readAbsValue(std::uint64_t address) {
    return std::bit_cast<float>(readRegister(address));
}

void TavoCameraImpl::writeAbsValue(std::uint64_t address, float value) {
    trace::enter("TavoCameraImpl::writeAbsValue(%llx, %g)",
                 static_cast<unsigned long long>(address), double{value});
    writeRegister(address, std::bit_cast<std::uint32_t>(value));
    trace::leave("TavoCameraImpl::writeAbsValue");
}
