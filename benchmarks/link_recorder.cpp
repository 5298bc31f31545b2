// SPDX-License-Identifier: LGPL-2.1-or-later
#include "link_recorder.h"

#include <algorithm>
#include <chrono>

#include <dlfcn.h>
#include <unistd.h>

namespace tavo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLongestKept = 4096; // bytes; pixels need not be kept

template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// libusb and the bus below it may pause, too: that is their time.
thread_local bool insideLibusb = false;

template <typename Call>
auto timed(Call call) {
    const auto start = Clock::now();
    insideLibusb = true;
    const auto result = call();
    insideLibusb = false;
    linkRecorder().times.transfers += std::chrono::duration<double>(Clock::now() - start).count();
    ++linkRecorder().times.transferCount;
    return result;
}

void note(Step step, const unsigned char* data) {
    if (!linkRecorder().recording)
        return;
    const int known = step.towardsHost() ? step.moved : step.length;
    if (known > 0 && (!step.towardsHost() || known <= kLongestKept))
        step.data.assign(data, data + known);
    linkRecorder().steps.push_back(std::move(step));
}

int bulkTransfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                 int length, int* moved, unsigned timeout) {
    static const auto call = real<decltype(libusb_bulk_transfer)>("libusb_bulk_transfer");
    return call(handle, endpoint, data, length, moved, timeout);
}

int controlTransfer(libusb_device_handle* handle, const Step& step, unsigned char* data) {
    static const auto call = real<decltype(libusb_control_transfer)>("libusb_control_transfer");
    return call(handle, step.endpoint, step.request, step.value, step.index, data,
                static_cast<std::uint16_t>(step.length), step.timeout);
}

void pause(unsigned microseconds) {
    static const auto call = real<int(useconds_t)>("usleep");
    call(microseconds);
}

// The bytes that the step moves, or -1.
int repeat(Step& step, libusb_device_handle* handle, unsigned char* buffer) {
    unsigned char* data = step.towardsHost() ? buffer : step.data.data();
    switch (step.kind) {
    case Step::Kind::pause: pause(step.microseconds); return 0;
    case Step::Kind::control: return controlTransfer(handle, step, data);
    case Step::Kind::bulk: break;
    }
    int moved = 0;
    const int r = bulkTransfer(handle, step.endpoint, data, step.length, &moved, step.timeout);
    return r < 0 ? -1 : moved;
}

} // namespace

LinkRecorder& linkRecorder() {
    static LinkRecorder recorder;
    return recorder;
}

void LinkRecorder::restart() {
    steps.clear();
    times = {};
    recording = true;
}

bool replay(std::vector<Step>& steps, libusb_device_handle* handle, unsigned char* buffer) {
    for (Step& step : steps) {
        if (repeat(step, handle, buffer) != step.moved)
            return false;
        if (step.towardsHost())
            buffer += step.moved;
    }
    return true;
}

std::size_t bytesToHost(const std::vector<Step>& steps) {
    std::size_t bytes = 0;
    for (const Step& step : steps)
        if (step.towardsHost())
            bytes += static_cast<std::size_t>(std::max(step.moved, 0));
    return bytes;
}

} // namespace tavo::bench

using namespace tavo::bench;

extern "C" {

int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    static const auto call = real<decltype(libusb_open)>("libusb_open");
    const int r = timed([&] { return call(device, handle); });
    linkRecorder().handle = *handle;
    return r;
}

int libusb_claim_interface(libusb_device_handle* handle, int interface) {
    static const auto call = real<decltype(libusb_claim_interface)>("libusb_claim_interface");
    return timed([&] { return call(handle, interface); });
}

int libusb_kernel_driver_active(libusb_device_handle* handle, int interface) {
    static const auto call =
        real<decltype(libusb_kernel_driver_active)>("libusb_kernel_driver_active");
    return timed([&] { return call(handle, interface); });
}

int libusb_set_interface_alt_setting(libusb_device_handle* handle, int interface, int setting) {
    static const auto call =
        real<decltype(libusb_set_interface_alt_setting)>("libusb_set_interface_alt_setting");
    return timed([&] { return call(handle, interface, setting); });
}

int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                         int length, int* moved, unsigned timeout) {
    const int r =
        timed([&] { return bulkTransfer(handle, endpoint, data, length, moved, timeout); });
    Step step;
    step.kind = Step::Kind::bulk;
    step.endpoint = endpoint;
    step.length = length;
    step.moved = r < 0 ? -1 : *moved;
    step.timeout = timeout;
    note(std::move(step), data);
    return r;
}

int libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type, std::uint8_t request,
                            std::uint16_t value, std::uint16_t index, unsigned char* data,
                            std::uint16_t length, unsigned timeout) {
    Step step;
    step.kind = Step::Kind::control;
    step.endpoint = type;
    step.request = request;
    step.value = value;
    step.index = index;
    step.length = length;
    step.timeout = timeout;
    step.moved = timed([&] { return controlTransfer(handle, step, data); });
    const int r = step.moved;
    note(std::move(step), data);
    return r;
}

int usleep(useconds_t microseconds) {
    if (insideLibusb) {
        pause(microseconds);
        return 0;
    }
    linkRecorder().times.pauses += microseconds / 1e6;
    ++linkRecorder().times.pauseCount;
    Step step;
    step.microseconds = microseconds;
    note(std::move(step), nullptr);
    pause(microseconds);
    return 0;
}
}
