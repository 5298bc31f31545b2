// SPDX-License-Identifier: LGPL-2.1-or-later
#include "glint.h"

#include "../camera/camera_device.h"
#include "../camera/instrument.h"
#include "../controller/bytes.h"
#include "../controller/fifo.h"
#include "../controller/usb_descriptors.h"
#include "registers.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

namespace tavo::virtualcamera {

using virtualusb::Bytes;
using virtualusb::Device;
using virtualusb::Outcome;
using virtualusb::Reply;
using virtualusb::SetupPacket;

namespace {

constexpr std::uint8_t kFramePipe = 0x81;
constexpr std::uint8_t kRegisterRequest = 0x7F;
constexpr std::uint8_t kVendorOut = 0x40;
constexpr std::uint8_t kVendorIn = 0xC0;
constexpr std::uint8_t kTypeMask = 0x60;
constexpr std::uint16_t kAddressSpace = 0xF0F0; // the upper half of every register's address
constexpr std::uint16_t kRegisterBytes = 4;
constexpr double kOwnHeat = 8.0; // degrees by which the electronics warm the sensor

InstrumentParts warmed(const Model& model) {
    InstrumentParts parts = instrumentParts(model);
    parts.ambient += kOwnHeat;
    return parts;
}

class GlintCamera final : public Device {
public:
    GlintCamera(const Model& model_, std::shared_ptr<const Clock> clock_, Log log)
        : model(model_), clock(std::move(clock_)),
          journal(std::move(log)), identity{model.productId, model.name},
          instrument(warmed(model), *clock), registers(model, instrument, *clock, fifo, journal) {}

    Bytes descriptors() const override {
        const std::array<std::uint8_t, 1> pipes{kFramePipe};
        const std::array<Pipes, 1> settings{pipes};
        Bytes bytes = deviceDescriptor(identity);
        const Bytes configuration = configurationDescriptor(settings);
        bytes.insert(bytes.end(), configuration.begin(), configuration.end());
        return bytes;
    }

    Outcome setAlternateSetting(unsigned interface, unsigned setting) override {
        if (interface == 0 && setting == 0)
            return Outcome::done;
        journal("USB: there is no alternate setting ", setting);
        return Outcome::stalled;
    }

    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        if ((setup.requestType & kTypeMask) == 0)
            return Outcome::done;
        if (!reachesRegister(setup, kVendorOut) || data.size() != kRegisterBytes)
            return Outcome::stalled;
        return registers.write(setup.value, u32le(data, 0)) ? Outcome::done : Outcome::stalled;
    }

    Reply controlIn(const SetupPacket& setup) override {
        if ((setup.requestType & kTypeMask) == 0)
            return answerStringRequest(identity, setup);
        const auto value =
            reachesRegister(setup, kVendorIn) ? registers.read(setup.value) : std::nullopt;
        if (!value)
            return {Outcome::stalled, {}};
        Reply reply{Outcome::done, {}};
        appendU16le(reply.data, *value);
        appendU16le(reply.data, *value >> 16);
        return reply;
    }

    Outcome bulkOut(std::uint8_t, std::span<const std::uint8_t>) override {
        return Outcome::stalled;
    }

    // A request longer than the rest of the frame waits for the next frame to fill it: frames
    // follow each other without a mark.
    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        if (endpoint != kFramePipe)
            return {Outcome::stalled, {}};
        if (fifo.available(clock->now()) < length) {
            awaited = length;
            return {};
        }
        awaited.reset();
        journal("frame pipe: ", length, " bytes");
        return {Outcome::done, fifo.take(length)};
    }

    // What was on its way in a request is lost with it.
    void cancelled(std::uint8_t endpoint) override {
        if (endpoint != kFramePipe || !awaited)
            return;
        const auto lost = std::min<std::uint64_t>(*awaited, fifo.available(clock->now()));
        journal("frame pipe: the host has given up, ", lost, " bytes are lost");
        fifo.take(lost);
        awaited.reset();
    }

    std::optional<std::uint64_t> wakeIn() const override {
        const auto at = awaited ? fifo.whenAvailable(*awaited) : std::nullopt;
        if (!at)
            return std::nullopt;
        const Microseconds now = clock->now();
        return *at <= now ? 0 : clock->hostTime(*at - now);
    }

    // The camera lives off the cable, so that plugging it in again is a power-up.
    void reset() override {
        journal("USB: reset");
        awaited.reset();
        registers.powerUp();
    }

private:
    bool reachesRegister(const SetupPacket& setup, std::uint8_t requestType) const {
        const char* problem = nullptr;
        if (setup.requestType != requestType || setup.request != kRegisterRequest)
            problem = "there is no such request";
        else if (setup.index != kAddressSpace)
            problem = "there is nothing at that address";
        else if (setup.length != kRegisterBytes)
            problem = "a register has 4 bytes";
        if (problem != nullptr)
            journal("control request ", hex(setup.requestType), " ", hex(setup.request), ", value ",
                    hex(setup.value, 4), ", index ", hex(setup.index, 4), ", ", setup.length,
                    " bytes: refused, ", problem);
        return problem == nullptr;
    }

    const Model model;
    std::shared_ptr<const Clock> clock;
    Journal journal;
    UsbIdentity identity;
    Fifo fifo;
    Instrument instrument;
    Registers registers;
    std::optional<std::uint32_t> awaited; // bytes, by a read that found too few
};

} // namespace

std::unique_ptr<Device> assembleGlint(const Model& model, std::shared_ptr<const Clock> clock,
                                      Log log) {
    return std::make_unique<GlintCamera>(model, std::move(clock), std::move(log));
}

} // namespace tavo::virtualcamera
