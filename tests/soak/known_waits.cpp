// SPDX-License-Identifier: LGPL-2.1-or-later
#include "known_waits.h"

namespace tavo::soak {
namespace {

struct KnownWait {
    const char* call;
    bool outlastsFaults; // and ends when the camera is unplugged
    const char* reason;
};
constexpr const char* kOpening =
    "each step waits for its time-out, and what an earlier image left is read byte by byte";
constexpr const char* kFetching =
    "a frame in as many requests as MAX_PACKET_SIZE makes of it, each up to a time-out";
constexpr KnownWait kKnownWaits[] = {
    {"basin open", true, "a camera that does not answer is tried again without end"},
    {"ridge open", false, kOpening},
    {"heron open", false, kOpening},
    {"lumen open", false, kOpening},
    {"basin getImage", false, kFetching},
    {"ridge getImage", false, kFetching},
    {"heron getImage", true, "as long as the camera holds its busy line"},
    {"glint getImage", false, kFetching},
    {"lumen getImage", false, kFetching},
    {"lumen startExposure", true,
     "asks 401 times, each up to a time-out, whether the sensor is clear"},
    {"lumen getGain", false, "asks 101 times, each up to a time-out"},
    {"lumen setGain", false, "asks 101 times, each up to a time-out"},
};

const KnownWait* find(const std::string& name) {
    for (const KnownWait& wait : kKnownWaits)
        if (name == wait.call)
            return &wait;
    return nullptr;
}

} // namespace

std::string waitName(const std::string& family, const std::string& call) {
    return family + " " + call.substr(0, call.find('('));
}

const char* reasonToWait(const std::string& name) {
    const KnownWait* wait = find(name);
    return wait ? wait->reason : nullptr;
}

bool mayOutlastFaults(const std::string& name) {
    const KnownWait* wait = find(name);
    return wait && wait->outlastsFaults;
}

bool isKnownWait(const std::string& name, bool untilUnplugged) {
    return untilUnplugged ? mayOutlastFaults(name) : find(name) != nullptr;
}

} // namespace tavo::soak
