// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exported_device.h"

#include <algorithm>
#include <utility>

namespace tavo::usbip {
namespace {

constexpr std::uint32_t kBusNumber = 1;
constexpr std::uint8_t kInterfaceType = 4;

// Only the first setting of each interface stands in a record.
std::vector<InterfaceRecord> interfacesOf(std::span<const std::uint8_t> configuration) {
    std::vector<InterfaceRecord> interfaces;
    for (auto rest = configuration; !rest.empty(); rest = rest.subspan(rest[0]))
        if (rest[1] == kInterfaceType && rest[3] == 0)
            interfaces.push_back({rest[5], rest[6], rest[7]});
    return interfaces;
}

DeviceRecord recordOf(const virtualusb::Descriptors& descriptors, unsigned place) {
    const auto device = descriptors.device();
    DeviceRecord record;
    record.busId = std::to_string(kBusNumber) + "-" + std::to_string(place);
    record.path = "/sys/devices/virtual/usb" + std::to_string(kBusNumber) + "/" + record.busId;
    record.busNumber = kBusNumber;
    record.deviceNumber = place + 1; // 1 is the root hub
    record.speed = kHighSpeed;
    record.vendorId = descriptors.vendorId();
    record.productId = descriptors.productId();
    record.release = static_cast<std::uint16_t>(device[12] | device[13] << 8);
    record.deviceClass = device[4];
    record.deviceSubclass = device[5];
    record.deviceProtocol = device[6];
    record.configurationValue = descriptors.configurationValue();
    record.configurationCount = device[17];
    record.interfaces = interfacesOf(descriptors.configuration());
    return record;
}

} // namespace

ExportedDevice::ExportedDevice(std::unique_ptr<virtualusb::Device> device, unsigned place)
    : usbDevice(std::move(device)), descriptorTree(usbDevice->descriptors()),
      deviceRecord(recordOf(descriptorTree, place)) {}

OperationStatus ExportedDevice::acquire() {
    switch (state) {
    case State::available: state = State::imported; return OperationStatus::ok;
    case State::imported: return OperationStatus::busy;
    case State::absent: return OperationStatus::notAvailable;
    }
    return OperationStatus::error;
}

void ExportedDevice::release() {
    usbDevice->reset();
    state = State::available;
}

void ExportedDevice::vanish() {
    constexpr std::uint64_t longest = std::uint64_t{365} * 24 * 3600 * 1'000'000;
    state = State::absent;
    returnTime.reset();
    if (const auto pause = usbDevice->wakeIn())
        returnTime = Clock::now() + std::chrono::microseconds(std::min(*pause, longest));
}

void ExportedDevice::comeBack() {
    returnTime.reset();
    release();
}

} // namespace tavo::usbip
