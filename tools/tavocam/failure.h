// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_FAILURE_H
#define TAVOCAM_FAILURE_H

#include <stdexcept>
#include <string>

namespace tavocam {

// The program's exit codes, documented in its help. An interrupted run ends with 128 plus the
// number of the signal, as shells report it.
enum ExitCode : int {
    kOk = 0,
    kUnexpected = 1,
    kUsage = 2,
    kNoCamera = 3,
    kCannotOpen = 4,
    kCameraFailed = 5,
    kCannotWrite = 6,
    kTimedOut = 7,
    kSignalBase = 128,
};

// Ends the program with a message for the user that names cause and remedy.
class Failure : public std::runtime_error {
public:
    Failure(int code, const std::string& message) : std::runtime_error(message), exitCode(code) {}

    int exitCode;
};

} // namespace tavocam

#endif
