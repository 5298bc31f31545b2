// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Lets each transfer of an operation fail once.
#pragma once

#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <functional>

namespace tavo::test {

inline constexpr Fault kAllFaults[]{kInputOutputError, kTimeout, kPipe, kNoDevice, kShortCount};

enum class Effect {
    fatal,     // the operation fails
    tolerated, // it goes on
    retried,   // open waits and starts again
};

// Consecutive transfers on which a fault has the same effect.
struct Stretch {
    const char* what;
    std::size_t transfers;
    Effect onError;
    Effect onShortCount = Effect::tolerated; // most are asked for the rest
};
using Stretches = std::vector<Stretch>;

struct Fallible {
    std::size_t number; // of the transfer, from 1
    const char* what;
    Fault fault;
    Effect effect;
};

std::size_t lengthOf(const Stretches& stretches);
// Calls `check` for every transfer and every fault; in long stretches for one fault a transfer.
void sweep(const Stretches& stretches, const std::function<void(const Fallible&)>& check);

// "transfer 12 (product id) fails with TIMEOUT"
std::string describe(const Fallible& fallible);

// A public operation of a camera that can do everything.
struct Operation {
    CAMERA_TYPE type;
    const char* name;
    std::function<bool(TavoCameraImpl&)> run;
    const char* lastError; // after a failed transfer
    Stretches stretches;
};

// An open camera with all capabilities, a cooler with a set point and a known kind of sensor.
std::unique_ptr<TavoCameraImpl> equippedCamera(CAMERA_TYPE type);
// Result, last error and lock, with each transfer failing in turn.
void expectOperationSurvivesFaults(const Operation& operation, const CameraScript& script);
// On a camera that is closed: the same failure without any call of libusb.
void expectClosedCameraFails(const Operation& operation);

} // namespace tavo::test
