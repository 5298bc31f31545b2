// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A program for the bus tests to run on a bus. "echo" sends bytes through the loopback device and
// exits with 0 when they come back; "hold" claims the device, prints its process id and waits;
// "busy" echoes without end; "list" prints the product ids of all devices.
#include "loopback_device.h"

#include <libusb.h>

#include <array>
#include <cstdio>
#include <string_view>

#include <unistd.h>

namespace {

using namespace tavo::bustest;

constexpr int kNoDevice = 3;
constexpr int kFault = 4;

int echo(libusb_device_handle* handle) {
    std::array<unsigned char, 4> data{1, 2, 3, 4};
    int count = 0;
    if (libusb_bulk_transfer(handle, kEchoOut, data.data(), 4, &count, 5000) != 0 || count != 4)
        return kFault;
    data = {};
    if (libusb_bulk_transfer(handle, kEchoIn, data.data(), 4, &count, 5000) != 0 || count != 4)
        return kFault;
    return data == std::array<unsigned char, 4>{1, 2, 3, 4} ? 0 : kFault;
}

int list() {
    libusb_device** devices = nullptr;
    const auto count = libusb_get_device_list(nullptr, &devices);
    if (count < 0)
        return kFault;
    for (libusb_device** device = devices; *device; ++device) {
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(*device, &descriptor) == 0)
            std::printf("product %04x\n", unsigned{descriptor.idProduct});
    }
    libusb_free_device_list(devices, 1);
    libusb_exit(nullptr);
    return 0;
}

// Never ends by itself.
int busy(libusb_device_handle* handle) {
    while (echo(handle) == 0) {
    }
    return kFault;
}

int hold() {
    std::printf("%d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    for (;;)
        pause();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || libusb_init(nullptr) != 0)
        return kFault;
    const std::string_view task(argv[1]);
    if (task == "list")
        return list();
    libusb_device_handle* handle = libusb_open_device_with_vid_pid(nullptr, kVendor, kProduct);
    if (!handle)
        return kNoDevice;
    int status = kFault;
    if (libusb_claim_interface(handle, 0) == 0 &&
        libusb_set_interface_alt_setting(handle, 0, 1) == 0)
        status = task == "hold" ? hold() : task == "busy" ? busy(handle) : echo(handle);
    libusb_close(handle);
    libusb_exit(nullptr);
    return status;
}
