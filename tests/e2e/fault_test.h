// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera that goes wrong as the command line of tavo-virtual says. Faults strike by chance, at a
// place that a test cannot name; so a test goes on until one has struck where it looks, and until
// none does.
#pragma once

#include "camera_test.h"
#include "trace_capture.h"

#include <functional>
#include <string>

class FaultTest : public testing::Test {
protected:
    // Far more than a test needs when faults strike as often as planned.
    static constexpr int kMostTries = 300;
    static constexpr int kTimeout = 300; // milliseconds; shorter than answers are late

    void SetUp() override;

    // The camera as it is plugged in now.
    void find();
    // Tries until the camera opens. What fails must say so.
    void openDespiteFaults();
    // Until the camera twice describes itself alike: a description may have been spoilt.
    void openUnspoilt();

    // A frame of the whole sensor, exposed for a moment. Many small requests draw faults on
    // themselves, few large ones pass between them.
    enum class Requests { many, few };
    bool takeFrame(Requests requests);
    // Takes frames by small requests until the image of one cannot be fetched.
    void failToFetch();
    void takeFrameDespiteFaults();

    // Fails the test, and ends the program, when the camera's lock is not to be had.
    void expectLockFree();
    void expectRefused(bool done, const char* text);

    CameraPointer camera;
    TavoCapabilities caps{};
    CAMERA_TYPE type{};
    Frame frame;
};
