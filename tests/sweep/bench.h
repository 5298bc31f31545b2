// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera of a family on the fake libusb, with everything that the family can have or with
// nothing.
#pragma once

#include "fake/camera_script.h"
#include "fake/unit_test.h"

namespace tavo::sweep {

// Every image. Square, since one family lays out others with gaps.
inline constexpr unsigned kWindow = 4;
inline constexpr unsigned kImagePixels = kWindow * kWindow;
inline constexpr unsigned kBin = 2; // of the binned ones
inline constexpr unsigned kBinnedWindow = kBin * kWindow;
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
    // The faults are over, and the camera remembers.
    void mend();
    // The same calls again, now kept by the fake.
    void keepCalls();
    // Until the next `heal`: a camera with nothing fitted; an interface that the kernel serves; a
    // filter wheel that looks for its home for a while.
    void strip();
    void occupy();
    void turnWheel();
    // What getImage finds waiting.
    void feedImage();

    bool open(); // this and the others: after `heal`
    bool requestImage();
    bool fetchImage(Image& image);
    bool requestBinnedImage();
    // Modes and parameters as after construction, and a small sensor for every family.
    void usualModes();
    // Bytes that the camera was asked for and nobody has read; they are gone then.
    std::size_t takeUnread();

    CAMERA_TYPE type() const { return family; }
    TavoCamera& camera() { return *driver; }
    test::CameraPeer peer() { return test::CameraPeer(*driver); }
    test::CameraScript& script() { return *player; }
    bool handleIsOpen() const; // at libusb

private:
    void play(const test::CameraScript& script);

    CAMERA_TYPE family;
    test::CameraScript healthy, bare;
    bool occupied = false;
    std::unique_ptr<test::LosingScript> player;
    std::unique_ptr<TavoCameraImpl> driver;
    int handlesBefore;
};

// Whether it succeeds, and comes back at all.
template <typename Action>
bool ends(Action action) {
    try {
        return action();
    } catch (const test::EndlessCalls&) {
        return false;
    }
}

} // namespace tavo::sweep
