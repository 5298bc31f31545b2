// SPDX-License-Identifier: LGPL-2.1-or-later
#include "camera_device.h"

#include "../controller/bytes.h"
#include "../controller/controller.h"
#include "../controller/fifo.h"
#include "../controller/i2c.h"
#include "../controller/parallel_link.h"
#include "../controller/usb_descriptors.h"

#include <span>
#include <utility>

namespace tavo::virtualcamera {

using virtualusb::Bytes;
using virtualusb::Device;
using virtualusb::Outcome;
using virtualusb::Reply;
using virtualusb::SetupPacket;

namespace {

constexpr std::uint8_t kCommandPipe = 0x04;
constexpr std::uint8_t kReplyPipe = 0x86;
constexpr std::uint8_t kLinkOutPipe = 0x02;
constexpr std::uint8_t kLinkInPipe = 0x88;

constexpr std::uint8_t kMemoryRequest = 0xA0;
constexpr std::uint8_t kVendorOut = 0x40;
constexpr std::uint8_t kVendorIn = 0xC0;
constexpr std::uint8_t kTypeMask = 0x60;

Eeprom::Image eepromImage(const Model& model, const Electronics& electronics) {
    constexpr std::size_t kProductId = 3;
    constexpr std::size_t kSerialLow = 5;
    constexpr std::size_t kSerialHigh = 8;
    constexpr std::size_t kColourMarker = 0xE8;
    constexpr std::uint8_t kErased = 0xFF;

    Eeprom::Image image;
    image.fill(kErased);
    image[kProductId] = lowByte(model.productId);
    image[kProductId + 1] = highByte(model.productId);
    image[kSerialLow] = lowByte(model.serial);
    image[kSerialLow + 1] = highByte(model.serial);
    image[kSerialHigh] = lowByte(model.serial >> 16);
    image[kSerialHigh + 1] = highByte(model.serial >> 16);
    if (model.colourPhase) {
        image[kColourMarker] = 0x84;
        image[kColourMarker + 1] = 0xD9;
        image[kColourMarker + 2] = 0x01;
        image[kColourMarker + 3] = lowByte(*model.colourPhase);
        image[kColourMarker + 4] = 0x00;
    }
    electronics.writeEeprom(image);
    return image;
}

class ControllerCamera final : public Device {
public:
    ControllerCamera(const Model& model_, std::shared_ptr<const Clock> clock_, Log log,
                     MakeElectronics makeElectronics)
        : model(model_), clock(std::move(clock_)),
          journal(std::move(log)), identity{model.productId, model.name},
          instrument(instrumentParts(model), *clock),
          electronics(makeElectronics({model, instrument, *clock, fifo, journal})),
          link(*clock, fifo, *electronics, journal, electronics->linkTables()),
          eeprom(eepromImage(model, *electronics), journal),
          controller(model.firmwareRequired, *electronics, i2c, link, journal) {
        i2c.attach(Eeprom::kBusAddress, eeprom);
        electronics->connect(i2c);
    }

    Bytes descriptors() const override {
        Bytes bytes = deviceDescriptor(identity);
        const Bytes configuration = configurationDescriptor();
        bytes.insert(bytes.end(), configuration.begin(), configuration.end());
        return bytes;
    }

    Outcome setAlternateSetting(unsigned interface, unsigned setting) override {
        if (interface != 0 || setting > 1)
            return Outcome::stalled;
        journal("USB: alternate setting ", setting);
        alternateSetting = static_cast<std::uint8_t>(setting);
        return Outcome::done;
    }

    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        if (setup.requestType == kVendorOut && setup.request == kMemoryRequest)
            return controller.writeMemory(setup.value, data);
        return (setup.requestType & kTypeMask) == 0 ? Outcome::done : Outcome::stalled;
    }

    Reply controlIn(const SetupPacket& setup) override {
        if (setup.requestType == kVendorIn && setup.request == kMemoryRequest)
            return controller.readMemory(setup.value, setup.length);
        return answerStringRequest(identity, setup);
    }

    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        if (alternateSetting == 0)
            return Outcome::stalled;
        if (!controller.running())
            return Outcome::nothing;
        if (endpoint == kCommandPipe)
            return controller.request(data);
        if (endpoint == kLinkOutPipe)
            return link.queue(data) ? Outcome::done : Outcome::nothing;
        return Outcome::stalled;
    }

    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        if (alternateSetting == 0)
            return {Outcome::stalled, {}};
        if (!controller.running())
            return {};
        if (endpoint == kReplyPipe)
            return controller.readReply(length);
        if (endpoint == kLinkInPipe)
            return link.read(length);
        return {Outcome::stalled, {}};
    }

    void cancelled(std::uint8_t endpoint) override {
        if (endpoint == kLinkInPipe)
            link.cancelRead();
    }

    std::optional<std::uint64_t> wakeIn() const override {
        const auto at = controller.running() ? link.wakeAt() : std::nullopt;
        if (!at)
            return std::nullopt;
        const Microseconds now = clock->now();
        return *at <= now ? 0 : clock->hostTime(*at - now);
    }

    // The camera's head has its own supply: it stays cold and keeps its filter.
    void reset() override {
        journal("USB: reset");
        alternateSetting = 0;
        controller.powerUp();
    }

private:
    const Model model;
    std::shared_ptr<const Clock> clock;
    Journal journal;
    UsbIdentity identity;
    Fifo fifo;
    Instrument instrument;
    std::unique_ptr<Electronics> electronics;
    ParallelLink link;
    Eeprom eeprom;
    I2cBus i2c;
    Controller controller;
    std::uint8_t alternateSetting = 0;
};

} // namespace

InstrumentParts instrumentParts(const Model& model) {
    return {.sensor = model.sensor,
            .hasShutter = model.hasShutter,
            .cooler = model.cooler,
            .greatestDrop = model.greatestDrop,
            .filterCount = model.filterCount,
            .ambient = model.ambient,
            .mount = model.mount,
            .seed = model.seed};
}

std::unique_ptr<Device> assembleControllerCamera(const Model& model,
                                                 std::shared_ptr<const Clock> clock, Log log,
                                                 MakeElectronics makeElectronics) {
    return std::make_unique<ControllerCamera>(model, std::move(clock), std::move(log),
                                              makeElectronics);
}

} // namespace tavo::virtualcamera
