// SPDX-License-Identifier: LGPL-2.1-or-later
#include "known_waits.h"

namespace tavo::soak {
namespace {

struct KnownWait {
    const char* call;
    const char* reason;
};
constexpr const char* kOpening =
    "each step waits for its time-out, and what an earlier image left is read byte by byte";
constexpr KnownWait kKnownWaits[] = {
    {"basin open", "a camera that does not answer is tried again without end"},
    {"ridge open", kOpening},
    {"heron open", kOpening},
    {"lumen open", kOpening},
    {"heron getImage", "as long as the camera holds its busy line"},
    {"lumen startExposure", "asks 401 times, each up to a time-out, whether the sensor is clear"},
    {"lumen getGain", "asks 101 times, each up to a time-out"},
    {"lumen setGain", "asks 101 times, each up to a time-out"},
};

} // namespace

std::string waitName(const std::string& family, const std::string& call) {
    return family + " " + call.substr(0, call.find('('));
}

const char* reasonToWait(const std::string& name) {
    for (const KnownWait& wait : kKnownWaits)
        if (name == wait.call)
            return wait.reason;
    return nullptr;
}

} // namespace tavo::soak
