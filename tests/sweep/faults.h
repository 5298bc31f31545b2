// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One thing that goes wrong in one run.
#pragma once

#include "fake/fake_usb.h"

#include <string>

namespace tavo::sweep {

enum class Victim { none, call, allocation };

struct Failure {
    Victim victim = Victim::none;
    std::size_t number = 0; // from 1
    test::Fault fault = test::kInputOutputError;
    test::Repeat repeat = test::Repeat::once;
    bool traced = false;
};

// Every error of libusb, one that it does not know of, and every kind of short count. The first is
// the one that the others are held against.
inline constexpr test::Fault kEveryFault[]{
    {"LIBUSB_ERROR_IO", -1},
    {"LIBUSB_ERROR_INVALID_PARAM", -2},
    {"LIBUSB_ERROR_ACCESS", -3},
    {"LIBUSB_ERROR_NO_DEVICE", -4},
    {"LIBUSB_ERROR_NOT_FOUND", -5},
    {"LIBUSB_ERROR_BUSY", -6},
    {"LIBUSB_ERROR_TIMEOUT", -7},
    {"LIBUSB_ERROR_OVERFLOW", -8},
    {"LIBUSB_ERROR_PIPE", -9},
    {"LIBUSB_ERROR_INTERRUPTED", -10},
    {"LIBUSB_ERROR_NO_MEM", -11},
    {"LIBUSB_ERROR_NOT_SUPPORTED", -12},
    {"LIBUSB_ERROR_OTHER", -99},
    {"no bytes", 0, test::ShortCount::none},
    {"one byte", 0, test::ShortCount::one},
    {"half of the bytes", 0, test::ShortCount::half},
    {"all bytes but one", 0, test::ShortCount::allButOne},
};

inline constexpr test::Repeat kRepeats[]{test::Repeat::once, test::Repeat::fromThenOn};

inline std::string describe(const Failure& failure) {
    if (failure.victim == Victim::none)
        return "without a fault";
    const std::string which = std::to_string(failure.number) +
                              (failure.repeat == test::Repeat::once ? "" : " and all after it") +
                              (failure.traced ? ", traced" : "");
    return failure.victim == Victim::call ? "call " + which + ": " + failure.fault.name
                                          : "allocation " + which;
}

} // namespace tavo::sweep
