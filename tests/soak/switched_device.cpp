// SPDX-License-Identifier: LGPL-2.1-or-later
#include "switched_device.h"

#include <utility>

namespace tavo::soak {
namespace {

using namespace virtualusb;

// A device that belongs to somebody else.
class Borrowed final : public Device {
public:
    explicit Borrowed(Device& device_) : device(device_) {}

    Bytes descriptors() const override { return device.descriptors(); }
    Outcome setAlternateSetting(unsigned interface, unsigned setting) override {
        return device.setAlternateSetting(interface, setting);
    }
    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        return device.controlOut(setup, data);
    }
    Reply controlIn(const SetupPacket& setup) override { return device.controlIn(setup); }
    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        return device.bulkOut(endpoint, data);
    }
    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        return device.bulkIn(endpoint, length);
    }
    void cancelled(std::uint8_t endpoint) override { device.cancelled(endpoint); }
    std::optional<std::uint64_t> wakeIn() const override { return device.wakeIn(); }
    void reset() override { device.reset(); }

private:
    Device& device;
};

class SwitchedDevice final : public Device {
public:
    SwitchedDevice(std::unique_ptr<Device> camera_, const FaultPlan& plan,
                   std::shared_ptr<FaultSwitch> faults_,
                   std::function<void(const std::string&)> log)
        : camera(std::move(camera_)), faults(std::move(faults_)),
          faulty(std::make_unique<Borrowed>(*camera), plan, steadyHostTime(), std::move(log)) {}

    Bytes descriptors() const override { return camera->descriptors(); }
    Outcome setAlternateSetting(unsigned interface, unsigned setting) override {
        return seen(present().setAlternateSetting(interface, setting));
    }
    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        return seen(present().controlOut(setup, data));
    }
    Reply controlIn(const SetupPacket& setup) override { return seen(present().controlIn(setup)); }
    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        return seen(present().bulkOut(endpoint, data));
    }
    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        return seen(present().bulkIn(endpoint, length));
    }
    // Told to the faults, too, when they are off: what they held back is forgotten with it.
    void cancelled(std::uint8_t endpoint) override { faulty.cancelled(endpoint); }
    std::optional<std::uint64_t> wakeIn() const override {
        return faults->on || faults->away ? faulty.wakeIn() : camera->wakeIn();
    }
    void reset() override {
        faulty.reset();
        faults->away = false;
    }

private:
    // A device that is away comes back only by what took it away.
    Device& present() {
        return faults->on || faults->away ? static_cast<Device&>(faulty) : *camera;
    }
    Outcome seen(Outcome outcome) {
        if (outcome == Outcome::gone)
            faults->away = true;
        if (outcome == Outcome::done)
            ++faults->served;
        return outcome;
    }
    Reply seen(Reply reply) {
        seen(reply.outcome);
        return reply;
    }

    std::unique_ptr<Device> camera;
    std::shared_ptr<FaultSwitch> faults;
    FaultyDevice faulty;
};

} // namespace

std::unique_ptr<Device> makeSwitchedDevice(std::unique_ptr<Device> camera, const FaultPlan& plan,
                                           std::shared_ptr<FaultSwitch> faults,
                                           std::function<void(const std::string&)> log) {
    return std::make_unique<SwitchedDevice>(std::move(camera), plan, std::move(faults),
                                            std::move(log));
}

} // namespace tavo::soak
