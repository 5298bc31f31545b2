// SPDX-License-Identifier: LGPL-2.1-or-later
#include "serial_numbers.h"

#include <charconv>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace tavo::virtualcamera {
namespace {

constexpr const char* kSerial = "serial";

using Taken = std::set<std::pair<std::string, std::uint32_t>>;

// Nothing as well for what is no number, which the camera itself refuses with its reasons.
std::optional<std::uint32_t> askedFor(const CameraRequest& camera) {
    const auto found = camera.options.find(kSerial);
    if (found == camera.options.end())
        return std::nullopt;
    const std::string& text = found->second;
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

Taken takenByWish(const std::vector<CameraRequest>& cameras) {
    Taken taken;
    for (const CameraRequest& camera : cameras) {
        const auto number = askedFor(camera);
        if (number && !taken.emplace(camera.model, *number).second)
            throw std::invalid_argument("--camera \"" + camera.text + "\": there is a " +
                                        camera.model + " with the serial number " +
                                        std::to_string(*number) +
                                        " already; give each camera of a model another one");
    }
    return taken;
}

} // namespace

void tellApart(std::vector<CameraRequest>& cameras, const SerialNumberOf& serialNumberOf) {
    Taken taken = takenByWish(cameras);
    for (CameraRequest& camera : cameras) {
        if (camera.options.contains(kSerial))
            continue;
        const std::uint32_t own = serialNumberOf(camera.model);
        std::uint32_t number = own;
        while (!taken.emplace(camera.model, number).second)
            ++number;
        if (number == own)
            continue;
        camera.options[kSerial] = std::to_string(number);
        camera.text += "," + std::string(kSerial) + "=" + std::to_string(number);
    }
}

} // namespace tavo::virtualcamera
