// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that says to a virtual camera what the input wants.
#pragma once

#include "input.h"
#include "virtual_camera/cable.h"

#include "camera/family.h"

namespace tavo::fuzz {

class NonsenseHost {
public:
    NonsenseHost(Input& given, virtualusb::Device& plugged, Cable& between)
        : input(given), device(plugged), cable(between) {}

    void step();
    // What a camera that has just been plugged in has to do: a Glint camera the latter, the others
    // the former.
    bool answersRequests();
    bool takesFrames(const virtualcamera::Model& model);

private:
    void release();
    void control(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t index,
                 const virtualusb::Bytes& data);
    virtualusb::Bytes frame(std::uint8_t code, bool replyPhase, const virtualusb::Bytes& middle,
                            const virtualusb::Bytes& payload, std::uint32_t reply);
    virtualusb::Reply request(std::uint8_t code, bool replyPhase, const virtualusb::Bytes& middle,
                              const virtualusb::Bytes& payload, std::uint32_t reply);
    void command();
    void bringUp();
    void linkRead(std::uint32_t length);
    void standardTraffic();
    void registerAccess();

    Input& input;
    virtualusb::Device& device;
    Cable& cable;
    std::uint8_t transaction = 0;
};

} // namespace tavo::fuzz
