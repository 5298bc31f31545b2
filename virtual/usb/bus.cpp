// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bus.h"

#include "usbfs_node.h"

#include <array>
#include <cstdio>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <unistd.h>

namespace tavo::virtualusb {
namespace {

constexpr unsigned kRootHub = 1;
constexpr unsigned kLastDeviceNumber = 127;
constexpr std::string_view kRootHubPath = "/devices/pci0000:00/0000:00:14.0/usb1";
constexpr std::string_view kPreload = "libumockdev-preload.so.0";

// What the Linux kernel's own high-speed root hub says of itself, with one hub interface.
constexpr std::array<std::uint8_t, 43> kRootHubDescriptors{
    0x12, 0x01, 0x00, 0x02, 0x09, 0x00, 0x01, 0x40, 0x6b, 0x1d, 0x02, 0x00, 0x01, 0x06, 0x03,
    0x02, 0x01, 0x01, 0x09, 0x02, 0x19, 0x00, 0x01, 0x01, 0x00, 0xe0, 0x00, 0x09, 0x04, 0x00,
    0x00, 0x01, 0x09, 0x00, 0x00, 0x00, 0x07, 0x05, 0x81, 0x03, 0x04, 0x00, 0x0c};

// A program built with AddressSanitizer refuses to start when a preloaded library comes before it.
constexpr std::string_view kSanitizerOption = "verify_asan_link_order=0";

// The value of an entry of the environment, if it is that of `name`.
std::optional<std::string_view> valueOf(std::string_view name, std::string_view entry) {
    if (!entry.starts_with(name) || entry.substr(name.size(), 1) != "=")
        return std::nullopt;
    return entry.substr(name.size() + 1);
}

// A list with `first` in it: in front, unless it is there already.
std::string joined(std::string_view first, std::string_view others) {
    if (others.find(first) != std::string_view::npos)
        return std::string(others);
    return std::string(first) + (others.empty() ? "" : ":") + std::string(others);
}

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

std::string nodeName(unsigned number) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "bus/usb/001/%03u", number);
    return text.data();
}

// A device in the testbed's language: path, node, udev properties and sysfs attributes.
std::string describeDevice(const std::string& path, unsigned number, unsigned port,
                           const Descriptors& descriptors) {
    const auto device = descriptors.device();
    const auto release = static_cast<unsigned>(device[12] | device[13] << 8);
    const std::string vendor = hex(descriptors.vendorId(), 4);
    const std::string product = hex(descriptors.productId(), 4);
    std::ostringstream text;
    text << "P: " << path << "\nN: " << nodeName(number) << "\nE: SUBSYSTEM=usb"
         << "\nE: DEVTYPE=usb_device\nE: DRIVER=usb\nE: DEVNAME=/dev/" << nodeName(number)
         << "\nE: MAJOR=189\nE: MINOR=" << number - 1 << "\nE: BUSNUM=001\nE: DEVNUM="
         << hex(number / 100 << 8 | number / 10 % 10 << 4 | number % 10, 3)
         << "\nE: PRODUCT=" << hex(descriptors.vendorId(), 1) << '/'
         << hex(descriptors.productId(), 1) << '/' << hex(release, 1)
         << "\nE: TYPE=" << unsigned{device[4]} << '/' << unsigned{device[5]} << '/'
         << unsigned{device[6]} << "\nE: ID_VENDOR_ID=" << vendor << "\nE: ID_MODEL_ID=" << product
         << "\nA: busnum=1\\n\nA: devnum=" << number << "\\n\nA: dev=189:" << number - 1
         << "\\n\nA: devpath=" << port << "\\n\nA: speed=480\\n\nA: version= 2.00\\n"
         << "\nA: bConfigurationValue=" << unsigned{descriptors.configurationValue()}
         << "\\n\nA: bNumConfigurations=1\\n\nA: bNumInterfaces= " << descriptors.interfaceCount()
         << "\\n\nA: bDeviceClass=" << hex(device[4], 2)
         << "\\n\nA: bDeviceSubClass=" << hex(device[5], 2)
         << "\\n\nA: bDeviceProtocol=" << hex(device[6], 2)
         << "\\n\nA: bMaxPacketSize0=" << unsigned{device[7]}
         << "\\n\nA: bcdDevice=" << hex(release, 4) << "\\n\nA: idVendor=" << vendor
         << "\\n\nA: idProduct=" << product << "\\n\nH: descriptors=" << hex(descriptors.all())
         << "\n\n";
    return text.str();
}

} // namespace

Bus::Bus() : testbed(ObjectRef<UMockdevTestbed>::adopt(umockdev_testbed_new())) {
    const Descriptors hub({kRootHubDescriptors.begin(), kRootHubDescriptors.end()});
    describe(describeDevice(std::string(kRootHubPath), kRootHub, 0, hub));
}

Bus::~Bus() {
    for (const auto& node : nodes)
        node->stop();
}

unsigned Bus::plug(std::unique_ptr<Device> device) {
    const auto number = static_cast<unsigned>(nodes.size()) + kRootHub + 1;
    if (number > kLastDeviceNumber)
        throw std::runtime_error("the virtual USB bus is full: it takes 126 devices");
    const unsigned place = number - kRootHub;
    const std::string path = std::string(kRootHubPath) + "/1-" + std::to_string(place);
    auto port = std::make_unique<Port>(std::move(device));
    describe(describeDevice(path, number, place, port->descriptors()));

    const std::string name = "/dev/" + nodeName(number);
    const auto node = std::make_shared<UsbfsNode>(std::move(port), number, directory() + name);
    const auto handler = node->makeHandler();
    GError* error = nullptr;
    if (!umockdev_testbed_attach_ioctl(testbed.get(), name.c_str(), handler.get(), &error)) {
        const std::string text = error ? error->message : "unknown fault";
        g_clear_error(&error);
        throw std::runtime_error("cannot serve " + name + ": " + text);
    }
    nodes.push_back(node);
    return number;
}

std::string Bus::directory() const {
    gchar* path = umockdev_testbed_get_root_dir(testbed.get());
    std::string text(path);
    g_free(path);
    return text;
}

std::vector<std::string> Bus::environment() const {
    std::vector<std::string> result;
    std::string preload(kPreload);
    std::string sanitizer(kSanitizerOption);
    for (char** entry = environ; *entry; ++entry) {
        if (const auto others = valueOf("LD_PRELOAD", *entry))
            preload = joined(kPreload, *others);
        else if (const auto options = valueOf("ASAN_OPTIONS", *entry))
            sanitizer = joined(kSanitizerOption, *options);
        else if (!valueOf("UMOCKDEV_DIR", *entry))
            result.emplace_back(*entry);
    }
    result.push_back("LD_PRELOAD=" + preload);
    result.push_back("ASAN_OPTIONS=" + sanitizer);
    result.push_back("UMOCKDEV_DIR=" + directory());
    return result;
}

void Bus::describe(const std::string& description) {
    GError* error = nullptr;
    if (umockdev_testbed_add_from_string(testbed.get(), description.c_str(), &error))
        return;
    const std::string text = error ? error->message : "unknown fault";
    g_clear_error(&error);
    throw std::runtime_error("cannot add a device to the testbed: " + text);
}

} // namespace tavo::virtualusb
