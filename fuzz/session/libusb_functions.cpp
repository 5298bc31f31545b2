// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The functions of libusb and of the C library that the driver calls, with the fuzzed camera behind
// them.
#include "session/fuzzed_usb.h"

#include <sys/time.h>
#include <unistd.h>

using tavo::fuzz::fuzzedUsb;
using tavo::test::Call;
using tavo::test::Row;

namespace {
libusb_context context;
libusb_device_handle handle;
libusb_device* plugged[1];
int handlesOpen = 0;
} // namespace

extern "C" {

// Called once in the life of the process, so it is not the input's to answer: every input has to
// mean the same again.
int libusb_init(libusb_context** created) {
    *created = &context;
    return 0;
}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    const int result = fuzzedUsb()->simple();
    if (result < 0)
        return result;
    plugged[0] = fuzzedUsb()->device();
    *list = plugged;
    return 1;
}

void libusb_free_device_list(libusb_device**, int) {}

int libusb_get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor) {
    const int result = fuzzedUsb()->simple();
    if (result < 0)
        return result;
    *descriptor = {};
    descriptor->idVendor = device->vendor;
    descriptor->idProduct = device->product;
    return 0;
}

libusb_device* libusb_ref_device(libusb_device* device) {
    ++device->references;
    return device;
}

void libusb_unref_device(libusb_device* device) {
    --device->references;
}

int libusb_open(libusb_device*, libusb_device_handle** opened) {
    const int result = fuzzedUsb()->simple();
    if (result < 0)
        return result;
    tavo::fuzz::require(++handlesOpen == 1, "a device is opened once at a time");
    *opened = &handle;
    return result;
}

void libusb_close(libusb_device_handle* closed) {
    tavo::fuzz::require(closed == &handle && --handlesOpen == 0, "an open device is closed");
}

int libusb_kernel_driver_active(libusb_device_handle*, int) {
    const int result = fuzzedUsb()->simple();
    return result < 0 ? result : static_cast<int>(fuzzedUsb()->callCount() & 1);
}

int libusb_detach_kernel_driver(libusb_device_handle*, int) {
    return fuzzedUsb()->simple();
}

int libusb_claim_interface(libusb_device_handle*, int) {
    return fuzzedUsb()->simple();
}

int libusb_set_interface_alt_setting(libusb_device_handle*, int, int) {
    return fuzzedUsb()->simple();
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint, unsigned char* data,
                         int length, int* moved, unsigned) {
    tavo::fuzz::require(handlesOpen == 1 && length >= 0, "a transfer on an open device");
    Row row;
    row.call = (endpoint & LIBUSB_ENDPOINT_IN) != 0 ? Call::bulkIn : Call::bulkOut;
    row.endpoint = endpoint;
    row.length = static_cast<std::size_t>(length);
    return fuzzedUsb()->transfer(row, data, moved);
}

int libusb_control_transfer(libusb_device_handle*, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t index, unsigned char* data,
                            std::uint16_t length, unsigned) {
    tavo::fuzz::require(handlesOpen == 1, "a transfer on an open device");
    Row row;
    row.call = (type & LIBUSB_ENDPOINT_IN) != 0 ? Call::controlIn : Call::controlOut;
    row.requestType = type;
    row.request = request;
    row.value = value;
    row.index = index;
    row.length = length;
    int moved = 0;
    const int result = fuzzedUsb()->transfer(row, data, &moved);
    return result < 0 ? result : moved;
}

const char* libusb_error_name(int) {
    return "LIBUSB_ERROR";
}

int usleep(useconds_t microseconds) {
    if (fuzzedUsb())
        fuzzedUsb()->sleep(microseconds);
    return 0;
}

int gettimeofday(timeval* time, void*) noexcept {
    const std::int64_t now = fuzzedUsb() ? fuzzedUsb()->clock() : 0;
    time->tv_sec = static_cast<time_t>(now / 1000000);
    time->tv_usec = static_cast<suseconds_t>(now % 1000000);
    return 0;
}
}
