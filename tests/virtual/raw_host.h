// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that speaks to a virtual camera in bytes, with a clock that moves only when told to.
#pragma once

#include "camera/camera_device.h"
#include "camera/model.h"
#include "controller/clock.h"
#include "ridge/ridge.h"
#include "usb/device.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tavo::virtualcamera::test {

using virtualusb::Bytes;
using virtualusb::Outcome;
using virtualusb::Reply;

// REQUIRES: there is a model of that key among them.
Model modelOf(std::span<const Model> models, const std::string& key);

// A small camera, so that whole frames are quick; tests change what they need.
Model smallRidge();

class RawHost {
public:
    explicit RawHost(const Model& model = smallRidge(),
                     MakeElectronics makeElectronics = makeRidgeElectronics, double speed = 1.0);

    virtualusb::Device& device() { return *camera; }
    std::vector<std::string>& log() { return lines; }
    bool logged(const std::string& part) const;
    // Both are the host's own time.
    void wait(double seconds);
    double seconds() const { return static_cast<double>(clock->hostNow()) / kSecond; }

    Outcome writeMemory(std::uint16_t address, const Bytes& data);
    // Alternate setting 1 and an empty firmware image.
    void release();
    // That, ports set up for the parallel link, and an I2C time-out.
    void start();
    bool setPort0(std::uint8_t directions, std::uint8_t states);
    bool setLinkTimeout(std::uint16_t milliseconds);
    bool setI2cTimeout(std::uint16_t milliseconds);
    // Everything up to a running application.
    void bringUp();

    // One framed request, numbered by the host; the reply's data, or nothing when either part was
    // refused.
    std::optional<Bytes> request(const Bytes& header, const Bytes& payload, std::uint32_t reply);
    bool loadTable(const Bytes& table);
    std::optional<Bytes> readEeprom(std::uint8_t address, std::uint8_t length);

    // A command packet over the parallel link.
    bool command(std::uint8_t number, const Bytes& arguments = {});
    // Waits as long as the camera asks for; nothing when the time-out passes without enough data.
    std::optional<Bytes> linkRead(std::uint32_t length);
    std::optional<Bytes> ask(std::uint8_t number, const Bytes& arguments, std::uint32_t reply);

    // A host-timed exposure, as far as the readout command.
    void expose(double seconds, bool openShutter = true);
    bool readOutCommand(std::uint16_t code, std::uint16_t bin, std::uint16_t x, std::uint16_t y,
                        std::uint16_t width, std::uint16_t height, std::uint16_t flags = 0x0043);
    // Exposes and fetches the pixels of a window.
    std::vector<std::uint16_t> image(double seconds, bool openShutter, std::uint16_t bin,
                                     std::uint16_t x, std::uint16_t y, std::uint16_t width,
                                     std::uint16_t height);
    std::vector<std::uint16_t> fetch(std::size_t pixels);

private:
    std::shared_ptr<ManualClock> clock;
    std::vector<std::string> lines;
    std::uint8_t transaction = 0;
    std::unique_ptr<virtualusb::Device> camera;
};

// Two digits a byte, each followed by a blank.
Bytes hexBytes(const std::string& text);

// The table of the parallel link that Ridge cameras need, as the host's documents give it.
Bytes ridgeTable();

double mean(const std::vector<std::uint16_t>& pixels);
double deviation(const std::vector<std::uint16_t>& pixels);

} // namespace tavo::virtualcamera::test
