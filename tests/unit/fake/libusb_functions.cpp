// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The functions of libusb and of the C library that the driver calls, with the fake behind them.
// Being defined in the test program itself, they stand before those of any shared library.
#include "fake/fake_usb.h"

#include <sys/time.h>
#include <unistd.h>

using tavo::test::Call;
using tavo::test::Row;
using tavo::test::usb;

namespace {

libusb_context context;

// Where a camera has its endpoints; it knows no other interface or setting.
constexpr int kInterface = 0;
constexpr int kAlternateSetting = 1;

thread_local int visits = 0;

struct Visit {
    Visit() { ++visits; }
    ~Visit() { --visits; }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
};

} // namespace

bool tavo::test::insideFake() {
    return visits > 0;
}

extern "C" {

int libusb_init(libusb_context** created) {
    const Visit visit;
    const int result = usb().simple(Call::init);
    if (result >= 0 && created)
        *created = &context;
    return result;
}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    const Visit visit;
    return usb().listDevices(list);
}

void libusb_free_device_list(libusb_device**, int) {}

int libusb_get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor) {
    const Visit visit;
    const int result = usb().simple(Call::descriptor);
    if (result < 0 || device->descriptorResult < 0)
        return result < 0 ? result : device->descriptorResult;
    *descriptor = {};
    descriptor->idVendor = device->vendor;
    descriptor->idProduct = device->product;
    return 0;
}

libusb_device* libusb_ref_device(libusb_device* device) {
    const Visit visit;
    usb().simple(Call::refDevice);
    ++device->references;
    return device;
}

void libusb_unref_device(libusb_device* device) {
    const Visit visit;
    usb().simple(Call::unrefDevice);
    --device->references;
}

int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    const Visit visit;
    return usb().open(device, handle);
}

void libusb_close(libusb_device_handle*) {
    const Visit visit;
    usb().simple(Call::closeDevice);
}

int libusb_kernel_driver_active(libusb_device_handle*, int interface) {
    const Visit visit;
    return interface == kInterface ? usb().simple(Call::kernelDriverActive)
                                   : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_detach_kernel_driver(libusb_device_handle*, int interface) {
    const Visit visit;
    return interface == kInterface ? usb().simple(Call::detachKernelDriver)
                                   : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_claim_interface(libusb_device_handle*, int interface) {
    const Visit visit;
    return interface == kInterface ? usb().simple(Call::claimInterface) : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_set_interface_alt_setting(libusb_device_handle*, int interface, int setting) {
    const Visit visit;
    return interface == kInterface && setting == kAlternateSetting
               ? usb().simple(Call::setAltSetting)
               : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                         int length, int* moved, unsigned timeout) {
    const Visit visit;
    Row row;
    row.call = (endpoint & LIBUSB_ENDPOINT_IN) != 0 ? Call::bulkIn : Call::bulkOut;
    row.endpoint = endpoint;
    row.length = static_cast<std::size_t>(length);
    row.timeout = timeout;
    const int result = usb().transfer(handle, row, data, moved);
    usb().afterTransfer();
    return result;
}

int libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t index, unsigned char* data,
                            std::uint16_t length, unsigned timeout) {
    const Visit visit;
    Row row;
    row.call = (type & LIBUSB_ENDPOINT_IN) != 0 ? Call::controlIn : Call::controlOut;
    row.requestType = type;
    row.request = request;
    row.value = value;
    row.index = index;
    row.length = length;
    row.timeout = timeout;
    int moved = 0;
    const int result = usb().transfer(handle, row, data, &moved);
    usb().afterTransfer();
    return result < 0 ? result : moved;
}

const char* libusb_error_name(int code) {
    switch (code) {
    case LIBUSB_SUCCESS: return "LIBUSB_SUCCESS";
    case LIBUSB_ERROR_IO: return "LIBUSB_ERROR_IO";
    case LIBUSB_ERROR_INVALID_PARAM: return "LIBUSB_ERROR_INVALID_PARAM";
    case LIBUSB_ERROR_ACCESS: return "LIBUSB_ERROR_ACCESS";
    case LIBUSB_ERROR_NO_DEVICE: return "LIBUSB_ERROR_NO_DEVICE";
    case LIBUSB_ERROR_NOT_FOUND: return "LIBUSB_ERROR_NOT_FOUND";
    case LIBUSB_ERROR_BUSY: return "LIBUSB_ERROR_BUSY";
    case LIBUSB_ERROR_TIMEOUT: return "LIBUSB_ERROR_TIMEOUT";
    case LIBUSB_ERROR_OVERFLOW: return "LIBUSB_ERROR_OVERFLOW";
    case LIBUSB_ERROR_PIPE: return "LIBUSB_ERROR_PIPE";
    case LIBUSB_ERROR_INTERRUPTED: return "LIBUSB_ERROR_INTERRUPTED";
    case LIBUSB_ERROR_NO_MEM: return "LIBUSB_ERROR_NO_MEM";
    case LIBUSB_ERROR_NOT_SUPPORTED: return "LIBUSB_ERROR_NOT_SUPPORTED";
    case LIBUSB_ERROR_OTHER: return "LIBUSB_ERROR_OTHER";
    default: return "**UNKNOWN**";
    }
}

int usleep(useconds_t microseconds) {
    const Visit visit;
    usb().sleep(static_cast<long>(microseconds));
    return 0;
}

int gettimeofday(timeval* time, void*) noexcept {
    const Visit visit;
    const std::int64_t now = usb().clock();
    time->tv_sec = static_cast<time_t>(now / 1000000);
    time->tv_usec = static_cast<suseconds_t>(now % 1000000);
    return 0;
}
}
