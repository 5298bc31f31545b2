// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that speaks to a Glint camera in registers and bytes, with a clock that moves only when
// told to.
#pragma once

#include "camera/model.h"
#include "controller/clock.h"
#include "usb/device.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavo::virtualcamera::test {

Model glintModel(const std::string& key);
// 320 x 240 pixels, so that whole frames are quick, with one bright red star at (233, 97).
Model smallGlint(const std::string& key = "glint-m");

class GlintHost {
public:
    explicit GlintHost(const Model& model = smallGlint(), double speed = 1.0);

    virtualusb::Device& device() { return *camera; }
    std::vector<std::string>& log() { return lines; }
    bool logged(const std::string& part) const;
    // Both are the host's own time.
    void wait(double seconds);
    double seconds() const { return static_cast<double>(clock->hostNow()) / kSecond; }

    bool write(std::uint16_t offset, std::uint32_t value);
    bool writeFloat(std::uint16_t offset, float value);
    std::optional<std::uint32_t> read(std::uint16_t offset);
    float readFloat(std::uint16_t offset);

    void initialise();
    // That and the feature registers, as the cameras' own host writes them.
    void bringUp();
    // Sets rate and shutter, format and mode, and pulls the trigger.
    void expose(double seconds, unsigned binning = 1);
    // Waits for that many bytes of frame; empty when none are on their way.
    virtualusb::Bytes fetch(std::uint32_t length);
    // Both, for a whole frame of the camera's sensor.
    virtualusb::Bytes image(double seconds, unsigned binning = 1);

private:
    std::shared_ptr<ManualClock> clock;
    std::vector<std::string> lines;
    std::uint32_t pixels;
    std::unique_ptr<virtualusb::Device> camera;
};

} // namespace tavo::virtualcamera::test
