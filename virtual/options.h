// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The command line of tavo-virtual.
#pragma once

#include "faults/fault_plan.h"

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tavo::virtualcamera {

struct CameraRequest {
    std::string text; // as it was given, and what was added to it
    std::string model;
    std::map<std::string, std::string> options;
};

// Where the cameras are plugged in.
enum class Host {
    testbed, // a virtual bus that only programs in its environment see
    usbip,   // a server of the USB/IP protocol
    vhci,    // this computer's kernel
};

struct Options {
    std::vector<CameraRequest> cameras;
    Host host = Host::testbed;
    std::string usbipAddress = "127.0.0.1:3240";
    bool log = false;
    bool listModels = false;
    double speed = 1.0;
    virtualusb::FaultPlan faults;
    unsigned usbfsMemory = 16;        // MiB; 0: no limit
    std::vector<std::string> command; // empty: until a signal
};

// What the command line has settled already, a call for help or a mistake.
struct Exit {
    int status = 0;
};

// The status of failures that are not the command's, as env(1) and timeout(1) have it.
inline constexpr int kOwnFailure = 125;

// "ridge-e,serial=7,shutter=no". Throws std::invalid_argument with a text for the user.
CameraRequest parseCamera(const std::string& text);

// Throws std::invalid_argument with a text for the user.
std::variant<Options, Exit> parseCommandLine(int argc, const char* const* argv);

} // namespace tavo::virtualcamera
