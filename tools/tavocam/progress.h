// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_PROGRESS_H
#define TAVOCAM_PROGRESS_H

#include <functional>
#include <string>

#include "environment.h"

namespace tavocam {

// One line on a terminal that is overwritten as things go on; silent otherwise. The line is wiped
// when the object goes.
class Progress {
public:
    Progress(Environment& environment, bool quiet);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const std::string& line);
    void wipe();

private:
    std::ostream& stream;
    bool enabled;
    std::string shown;
};

// "exposing [#####     ] 0:15 left"
std::string progressBar(const std::string& label, double remaining, double total);

// Throws Failure when a signal is pending.
void checkInterrupt(const Environment& environment);

// Waits for a moment of the monotonic clock; calls tick now and then with the seconds that remain.
// Throws Failure soon after a signal.
void waitUntil(Environment& environment, double deadline,
               const std::function<void(double remaining)>& tick);

} // namespace tavocam

#endif
