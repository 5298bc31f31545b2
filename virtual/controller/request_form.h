// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the header of each kind of request must look like for the controller to serve it.
#pragma once

#include "framed_request.h"

#include <cstdint>
#include <string>

namespace tavo::virtualcamera {

struct NumberRange {
    std::uint32_t low;
    std::uint32_t high;

    bool holds(std::uint64_t number) const { return low <= number && number <= high; }
};

struct RequestForm {
    bool replyPhase; // byte 2 is 0xFF, otherwise 0x00
    NumberRange subCode;
    NumberRange a;
    NumberRange b;
    NumberRange payload; // bytes
    NumberRange reply;   // bytes
};

// What is wrong with the request and what is accepted; empty when it keeps the form.
std::string violation(const RequestForm& form, const FramedRequest& request);

} // namespace tavo::virtualcamera
