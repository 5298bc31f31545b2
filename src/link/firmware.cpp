// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Loading the image into the USB controller's memory.
#include "core/trace.h"
#include "link/firmware_records.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

// Null where no object of the process defines it.
extern const unsigned char FIRMWARE[] __attribute__((weak));

namespace {

constexpr std::uint8_t kWriteMemory = 0xA0;
constexpr unsigned kMemoryTimeout = 3000;      // milliseconds
constexpr unsigned kProcessorControl = 0xE600; // 1 holds the processor in reset, 0 releases it

const unsigned char* image() {
    return FIRMWARE ? FIRMWARE : tavo::kBuiltInFirmware;
}

} // namespace

bool TavoCameraImpl::writeController(unsigned address, const unsigned char* data, unsigned length) {
    if (!handle)
        return false;
    constexpr std::uint8_t kVendorOut = 0x40;
    return libusb_control_transfer(handle, kVendorOut, kWriteMemory,
                                   static_cast<std::uint16_t>(address), 0,
                                   const_cast<unsigned char*>(data),
                                   static_cast<std::uint16_t>(length), kMemoryTimeout) > 0;
}

bool TavoCameraImpl::writeFW() {
    trace::enter("TavoCameraImpl::writeFW()");
    const unsigned char stop = 1, start = 0;
    bool ok = writeController(kProcessorControl, &stop, 1);
    trace::inside("cpu stopped %d", ok);
    auto record = tavo::readFirmwareRecord(image());
    while (ok && !record.data.empty()) {
        ok = writeController(record.address, record.data.data(),
                             static_cast<unsigned>(record.data.size()));
        record = tavo::readFirmwareRecord(record.next);
    }
    // Told by where the walk stands: a failure of the very last record is not called incomplete.
    if (!record.data.empty())
        trace::inside("incomplete firmware upload");
    ok = ok && writeController(kProcessorControl, &start, 1);
    trace::inside("cpu started %d", ok);
    trace::leave("TavoCameraImpl::writeFW %d", ok);
    return ok;
}
