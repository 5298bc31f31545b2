// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Stands in for libusb-1.0: a bus with one camera that takes every vendor request, prints it, and
// answers nothing else. An open therefore gets through the firmware upload and fails after it.
#include <libusb.h>

#include <cstdint>
#include <cstdio>

struct libusb_device {
    int references;
};
struct libusb_device_handle {
    libusb_device* device;
};

namespace {

constexpr std::uint16_t kRidgeC = 0xdf2c;

libusb_device camera = {1};
libusb_device_handle cameraHandle = {&camera};
libusb_device* bus[] = {&camera, nullptr};

} // namespace

extern "C" {

int libusb_init(libusb_context** context) {
    *context = reinterpret_cast<libusb_context*>(bus);
    return LIBUSB_SUCCESS;
}
void libusb_exit(libusb_context*) {}
const char* libusb_error_name(int) {
    return "a result of the stub";
}
const char* libusb_strerror(int) {
    return "a result of the stub";
}

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    *list = bus;
    return 1;
}
void libusb_free_device_list(libusb_device**, int) {}
libusb_device* libusb_ref_device(libusb_device* device) {
    return device;
}
void libusb_unref_device(libusb_device*) {}

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor* descriptor) {
    *descriptor = libusb_device_descriptor();
    descriptor->idVendor = 0x1234;
    descriptor->idProduct = kRidgeC;
    return LIBUSB_SUCCESS;
}

int libusb_open(libusb_device*, libusb_device_handle** handle) {
    *handle = &cameraHandle;
    return LIBUSB_SUCCESS;
}
void libusb_close(libusb_device_handle*) {}
int libusb_kernel_driver_active(libusb_device_handle*, int) {
    return 0;
}
int libusb_detach_kernel_driver(libusb_device_handle*, int) {
    return LIBUSB_SUCCESS;
}
int libusb_claim_interface(libusb_device_handle*, int) {
    return LIBUSB_SUCCESS;
}
int libusb_release_interface(libusb_device_handle*, int) {
    return LIBUSB_SUCCESS;
}
int libusb_set_interface_alt_setting(libusb_device_handle*, int, int) {
    return LIBUSB_SUCCESS;
}
int libusb_clear_halt(libusb_device_handle*, unsigned char) {
    return LIBUSB_SUCCESS;
}

int libusb_bulk_transfer(libusb_device_handle*, unsigned char, unsigned char*, int,
                         int* transferred, unsigned) {
    if (transferred != nullptr) {
        *transferred = 0;
    }
    return LIBUSB_ERROR_TIMEOUT;
}

int libusb_control_transfer(libusb_device_handle*, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t, unsigned char* data,
                            std::uint16_t length, unsigned) {
    std::printf("%02x %02x %04x:", type, request, value);
    for (int index = 0; index < length; ++index) {
        std::printf(" %02x", data[index]);
    }
    std::puts("");
    return length;
}
}
