// SPDX-License-Identifier: LGPL-2.1-or-later
#include "presence.h"

#include <algorithm>
#include <utility>

#include "text.h"

namespace tavocam {
namespace {

constexpr double kSecondLook = 0.5; // seconds

std::size_t countOf(const Cameras& cameras, const std::string& name) {
    return static_cast<std::size_t>(
        std::count_if(cameras.begin(), cameras.end(),
                      [&](const auto& camera) { return camera->getName() == name; }));
}

} // namespace

Presence::Presence(const Cameras& cameras, std::string model)
    : name(std::move(model)), count(countOf(cameras, name)) {}

bool Presence::isGone(const Environment& environment) const {
    if (countOf(environment.listCameras(), name) < count)
        return true;
    environment.clock.sleepUntil(environment.clock.monotonic() + kSecondLook);
    return countOf(environment.listCameras(), name) < count;
}

Failure explained(const Failure& failure, const Environment& environment,
                  const Presence& presence) {
    if (failure.exitCode != kCameraFailed || !presence.isGone(environment))
        return failure;
    return {failure.exitCode, text(failure.what(), ". ", kGone)};
}

} // namespace tavocam
