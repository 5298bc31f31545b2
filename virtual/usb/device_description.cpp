// SPDX-License-Identifier: LGPL-2.1-or-later
#include "device_description.h"

#include <array>
#include <cstdio>
#include <span>
#include <sstream>

namespace tavo::virtualusb {
namespace {

std::string hex(unsigned value, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, value);
    return text.data();
}

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes)
        text += hex(byte, 2);
    return text;
}

std::string decimal(unsigned value, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*u", digits, value);
    return text.data();
}

unsigned releaseOf(std::span<const std::uint8_t> device) {
    return static_cast<unsigned>(device[12] | device[13] << 8);
}

} // namespace

std::string nodeName(unsigned number) {
    return "bus/usb/001/" + decimal(number, 3);
}

std::vector<std::string> udevProperties(const Place& place, const Descriptors& descriptors) {
    const auto device = descriptors.device();
    const std::string type = std::to_string(device[4]) + '/' + std::to_string(device[5]) + '/' +
                             std::to_string(device[6]);
    return {"SUBSYSTEM=usb",
            "DEVTYPE=usb_device",
            "DRIVER=usb",
            "DEVNAME=/dev/" + nodeName(place.number),
            "MAJOR=189",
            "MINOR=" + std::to_string(place.number - 1),
            "BUSNUM=001",
            "DEVNUM=" + decimal(place.number, 3),
            "PRODUCT=" + hex(descriptors.vendorId(), 1) + '/' + hex(descriptors.productId(), 1) +
                '/' + hex(releaseOf(device), 1),
            "TYPE=" + type,
            "ID_VENDOR_ID=" + hex(descriptors.vendorId(), 4),
            "ID_MODEL_ID=" + hex(descriptors.productId(), 4)};
}

std::string describeDevice(const Place& place, const Descriptors& descriptors) {
    const auto device = descriptors.device();
    std::ostringstream text;
    text << "P: " << place.path;
    // The nodes of all others are there already.
    if (place.port == 0)
        text << "\nN: " << nodeName(place.number);
    for (const std::string& property : udevProperties(place, descriptors))
        text << "\nE: " << property;
    text << "\nA: busnum=1\\n\nA: devnum=" << place.number << "\\n\nA: dev=189:" << place.number - 1
         << "\\n\nA: devpath=" << place.port << "\\n\nA: speed=480\\n\nA: version= 2.00\\n"
         << "\nA: bConfigurationValue=" << unsigned{descriptors.configurationValue()}
         << "\\n\nA: bNumConfigurations=1\\n\nA: bNumInterfaces= " << descriptors.interfaceCount()
         << "\\n\nA: bDeviceClass=" << hex(device[4], 2)
         << "\\n\nA: bDeviceSubClass=" << hex(device[5], 2)
         << "\\n\nA: bDeviceProtocol=" << hex(device[6], 2)
         << "\\n\nA: bMaxPacketSize0=" << unsigned{device[7]}
         << "\\n\nA: bcdDevice=" << hex(releaseOf(device), 4)
         << "\\n\nA: idVendor=" << hex(descriptors.vendorId(), 4)
         << "\\n\nA: idProduct=" << hex(descriptors.productId(), 4)
         << "\\n\nH: descriptors=" << hex(descriptors.all()) << "\n\n";
    return text.str();
}

} // namespace tavo::virtualusb
