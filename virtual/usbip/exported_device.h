// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device that a server offers: its record, and whether it can be imported.
#pragma once

#include "usb/descriptors.h"
#include "usb/transfer.h"
#include "wire.h"

#include <memory>
#include <optional>

namespace tavo::usbip {

using virtualusb::Clock;

class ExportedDevice {
public:
    // `place` counts from 1 and gives the bus id 1-PLACE. Throws std::invalid_argument when the
    // device's descriptors are malformed.
    ExportedDevice(std::unique_ptr<virtualusb::Device> device, unsigned place);

    virtualusb::Device& device() { return *usbDevice; }
    const virtualusb::Descriptors& descriptors() const { return descriptorTree; }
    const DeviceRecord& record() const { return deviceRecord; }

    bool isAvailable() const { return state == State::available; }
    // Takes the device for one host; any status but ok leaves things as they were.
    OperationStatus acquire();
    // The host has let go of it: the device is reset and available again.
    void release();
    // The device has unplugged itself, which ends its import.
    void vanish();

    // When a vanished device is plugged in again, if ever.
    std::optional<Clock::time_point> returnsAt() const { return returnTime; }
    // Plugs a vanished device in again; the caller has seen to it that the time has come.
    void comeBack();

private:
    enum class State { available, imported, absent };

    std::unique_ptr<virtualusb::Device> usbDevice;
    virtualusb::Descriptors descriptorTree;
    DeviceRecord deviceRecord;
    State state = State::available;
    std::optional<Clock::time_point> returnTime;
};

} // namespace tavo::usbip
