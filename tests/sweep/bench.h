// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera of a family with everything that the family can have, on the fake libusb.
#pragma once

#include "fake/camera_script.h"
#include "fake/unit_test.h"

namespace tavo::sweep {

// The window of every readout. Square, since one family lays out others with gaps.
inline constexpr unsigned kWindow = 4;
inline constexpr unsigned kImagePixels = kWindow * kWindow;
inline constexpr double kShortExposure = 0.1; // seconds

using Image = std::array<unsigned short, kImagePixels>;

class Bench {
public:
    explicit Bench(CAMERA_TYPE type); // closed
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    // A camera without faults or memory of what was; the driver's object stays.
    void heal();
    // What getImage finds waiting.
    void feedImage();

    bool open(); // this and the others: after `heal`
    bool requestImage();
    bool fetchImage(Image& image);
    // Modes as after construction, and a small sensor for every family.
    void usualModes();

    CAMERA_TYPE type() const { return family; }
    TavoCamera& camera() { return *driver; }
    test::CameraPeer peer() { return test::CameraPeer(*driver); }
    test::CameraScript& script() { return *player; }
    bool handleIsOpen() const; // at libusb

private:
    CAMERA_TYPE family;
    test::CameraScript healthy;
    std::unique_ptr<test::LosingScript> player;
    std::unique_ptr<TavoCameraImpl> driver;
    int handlesBefore;
};

} // namespace tavo::sweep
