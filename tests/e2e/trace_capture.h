// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The driver's trace, kept for a test to read: it names the libusb call that failed and its error.
#pragma once

#include <string>

// Takes all that is written to standard error, with the trace on, until it goes out of scope.
class TraceCapture {
public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::string text() const;
    // Lines that hold the words.
    unsigned count(const std::string& words) const;

private:
    int file, standardError;
};
