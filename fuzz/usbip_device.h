// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The device behind a USB/IP server that is fuzzed.
#pragma once

#include "input.h"

#include "controller/usb_descriptors.h"
#include "usb/device.h"

namespace tavo::fuzz {

// Endpoints as the cameras have them, answers as the input has them.
class UsbipDevice final : public virtualusb::Device {
    using Bytes = virtualusb::Bytes;
    using Outcome = virtualusb::Outcome;
    using Reply = virtualusb::Reply;
    using SetupPacket = virtualusb::SetupPacket;

public:
    explicit UsbipDevice(Input& given) : input(given) {}

    Bytes descriptors() const override {
        Bytes all = virtualcamera::deviceDescriptor({0xDF2C, "Camera"});
        const Bytes configuration = virtualcamera::configurationDescriptor();
        all.insert(all.end(), configuration.begin(), configuration.end());
        return all;
    }
    Outcome setAlternateSetting(unsigned, unsigned) override { return outcome(); }
    Outcome controlOut(const SetupPacket&, std::span<const std::uint8_t>) override {
        return outcome();
    }
    Reply controlIn(const SetupPacket& setup) override { return reply(setup.length); }
    Outcome bulkOut(std::uint8_t, std::span<const std::uint8_t>) override { return outcome(); }
    Reply bulkIn(std::uint8_t, std::uint32_t length) override { return reply(length); }
    std::optional<std::uint64_t> wakeIn() const override { return wake; }
    void reset() override { unplugged = false; }

    // From now on it answers all that it is asked.
    void answerAll() { willing = true; }
    bool wasUnplugged() const { return everUnplugged; }

private:
    static constexpr std::size_t kLongestAnswer = 4096;

    // An exhausted input refuses: a device that is asked again and again comes to an end.
    Outcome outcome() {
        if (unplugged)
            return Outcome::gone;
        if (willing)
            return Outcome::done;
        if (input.empty())
            return Outcome::stalled;
        const unsigned byte = input.u8();
        if (byte < 0x10)
            wake = input.flag() ? std::optional<std::uint64_t>(input.u16()) : std::nullopt;
        switch (byte & 0x0F) {
        case 0: return Outcome::stalled;
        case 1:
        case 2: return Outcome::nothing;
        case 3:
            unplugged = byte > 0xE0;
            everUnplugged = everUnplugged || unplugged;
            return unplugged ? Outcome::gone : Outcome::done;
        default: return Outcome::done;
        }
    }
    Reply reply(std::size_t length) {
        const Outcome result = outcome();
        if (result != Outcome::done)
            return {result, {}};
        const std::size_t wanted = std::min(length, kLongestAnswer);
        if (willing)
            return {Outcome::done, Bytes(wanted)};
        const std::size_t given = input.flag() ? wanted : wanted * input.u8() / 256;
        return {Outcome::done, Bytes(given, input.u8())};
    }

    Input& input;
    std::optional<std::uint64_t> wake;
    bool unplugged = false;
    bool everUnplugged = false;
    bool willing = false;
};

} // namespace tavo::fuzz
