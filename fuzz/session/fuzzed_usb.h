// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A libusb whose camera is the fuzzer. Underneath plays a healthy camera, so that an input has to
// tell only where it departs: each call takes a byte, which lets a run of calls be healthy or has
// this one fail, fall short or carry other data. When the input is over the camera is unplugged.
#pragma once

#include "fake/camera_script.h"
#include "input.h"

namespace tavo::fuzz {

class FuzzedUsb {
public:
    FuzzedUsb(Input& input, test::CameraScript& script, libusb_device* device, CAMERA_TYPE type);
    ~FuzzedUsb();
    FuzzedUsb(const FuzzedUsb&) = delete;
    FuzzedUsb& operator=(const FuzzedUsb&) = delete;

    libusb_device* device() { return cameraDevice; }
    std::int64_t clock() const { return now; }
    void sleep(std::int64_t microseconds) { now += microseconds; }
    // Bounds the answers that are left: those of a healthy camera would have no end.
    std::size_t callCount() const { return calls; }

    // The camera becomes another, as the input says.
    void change();

    // A libusb error, or 0.
    int simple();
    int transfer(test::Row& row, unsigned char* data, int* moved);

private:
    enum class Step { healthy, failure, gone, shortened, spoilt, made, filled, lost, partial };

    Step next();
    Step departure(unsigned kind);
    bool isImage(const test::Row& row) const;
    int healthy(test::Row& row, test::Bytes& data);
    int answered(Step step, test::Row& row, test::Bytes& data);

    Input& input;
    test::CameraScript& script;
    libusb_device* cameraDevice;
    CAMERA_TYPE family;
    std::size_t healthyLeft = 0;
    std::size_t calls = 0;
    int error = 0;
    bool unplugged = false;
    std::int64_t now = 1700000000LL * 1000000;
};

// The one that the functions of libusb end in; null between sessions.
FuzzedUsb* fuzzedUsb();

} // namespace tavo::fuzz
