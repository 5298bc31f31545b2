// SPDX-License-Identifier: LGPL-2.1-or-later
#include "short_pauses.h"

#include "../speed.h"

#include <libusb.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

namespace {

std::atomic<bool> isShort{true};

// Milliseconds; 0 stays without limit.
unsigned changed(unsigned timeout) {
    constexpr double kShortest = 25;        // a sound camera answers by then, as a rule
    constexpr unsigned kAlwaysEnough = 500; // also while the computer is busy with other things
    if (timeout == 0)
        return timeout;
    if (!isShort)
        return std::max(kAlwaysEnough, timeout);
    return static_cast<unsigned>(std::max(kShortest, timeout / tavo::soak::kSpeed));
}

template <typename Function>
Function next(const char* name, Function) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

void tavo::soak::shortenTimeouts(bool shorten) {
    isShort = shorten;
}

extern "C" {

int usleep(useconds_t microseconds) {
    const double seconds = microseconds / 1e6 / tavo::soak::kSpeed;
    timespec pause{static_cast<time_t>(seconds),
                   static_cast<long>((seconds - std::floor(seconds)) * 1e9)};
    return nanosleep(&pause, nullptr);
}

int LIBUSB_CALL libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint,
                                     unsigned char* data, int length, int* moved,
                                     unsigned timeout) {
    static const auto real = next("libusb_bulk_transfer", &libusb_bulk_transfer);
    return real(handle, endpoint, data, length, moved, changed(timeout));
}

int LIBUSB_CALL libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type,
                                        std::uint8_t request, std::uint16_t value,
                                        std::uint16_t index, unsigned char* data,
                                        std::uint16_t length, unsigned timeout) {
    static const auto real = next("libusb_control_transfer", &libusb_control_transfer);
    return real(handle, type, request, value, index, data, length, changed(timeout));
}
}
