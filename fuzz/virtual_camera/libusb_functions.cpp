// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The functions of libusb and of the C library that the driver calls, with the cable behind them.
#include "virtual_camera/cable.h"

#include <libusb.h>
#include <sys/time.h>
#include <unistd.h>

using tavo::fuzz::cable;

struct libusb_context {
    int unused = 0;
};
struct libusb_device_handle {
    int unused = 0;
};

namespace {
libusb_context context;
libusb_device_handle handle;
} // namespace

extern "C" {

int libusb_init(libusb_context** created) {
    *created = &context;
    return 0;
}

ssize_t libusb_get_device_list(libusb_context*, libusb_device***) {
    return LIBUSB_ERROR_OTHER;
}

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor*) {
    return LIBUSB_ERROR_OTHER;
}

libusb_device* libusb_ref_device(libusb_device* device) {
    return device;
}

// A cable that has been given up cannot be opened, or a driver would try again for ever.
int libusb_open(libusb_device*, libusb_device_handle** opened) {
    *opened = &handle;
    return cable()->select(0) == 0 && !cable()->isGivenUp() ? 0 : LIBUSB_ERROR_NO_DEVICE;
}

void libusb_close(libusb_device_handle*) {}

int libusb_kernel_driver_active(libusb_device_handle*, int) {
    return 0;
}

int libusb_detach_kernel_driver(libusb_device_handle*, int) {
    return LIBUSB_ERROR_NOT_FOUND;
}

int libusb_claim_interface(libusb_device_handle*, int) {
    return 0;
}

int libusb_set_interface_alt_setting(libusb_device_handle*, int, int setting) {
    return cable()->select(static_cast<unsigned>(setting));
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint, unsigned char* data,
                         int length, int* moved, unsigned timeout) {
    const int result = cable()->bulk(endpoint, data, static_cast<std::uint32_t>(length), timeout);
    *moved = result < 0 ? 0 : result;
    return result < 0 ? result : 0;
}

int libusb_control_transfer(libusb_device_handle*, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t index, unsigned char* data,
                            std::uint16_t length, unsigned timeout) {
    return cable()->control({type, request, value, index, length}, data, timeout);
}

const char* libusb_error_name(int) {
    return "LIBUSB_ERROR";
}

int usleep(useconds_t microseconds) {
    if (cable())
        cable()->wait(microseconds);
    return 0;
}

int gettimeofday(timeval* time, void*) noexcept {
    const std::uint64_t now = cable() ? cable()->microseconds() : 0;
    time->tv_sec = static_cast<time_t>(now / 1000000);
    time->tv_usec = static_cast<suseconds_t>(now % 1000000);
    return 0;
}
}
