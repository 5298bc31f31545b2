// SPDX-License-Identifier: LGPL-2.1-or-later
#include "device_events.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavo::virtualusb {
namespace {

// What libudev's monitor expects before the properties; the numbers marked so in network order.
struct MonitorHeader {
    std::array<char, 8> prefix{'l', 'i', 'b', 'u', 'd', 'e', 'v', '\0'};
    std::uint32_t magic = htonl(0xfeedcafe); // network order
    std::uint32_t headerSize = sizeof(MonitorHeader);
    std::uint32_t propertiesOffset = sizeof(MonitorHeader);
    std::uint32_t propertiesLength = 0;
    // By these the receiving socket filters; network order. Of "usb" and "usb_device", by the hash
    // that libudev uses.
    std::uint32_t subsystemHash = htonl(kUsbHash);
    std::uint32_t deviceTypeHash = htonl(kUsbDeviceHash);
    std::uint32_t tagBloomHigh = 0;
    std::uint32_t tagBloomLow = 0;

    static const std::uint32_t kUsbHash;
    static const std::uint32_t kUsbDeviceHash;
};

// MurmurHash2 with a seed of zero, over bytes in this machine's order.
std::uint32_t hashOf(const std::string& text) {
    constexpr std::uint32_t factor = 0x5bd1e995;
    auto hash = static_cast<std::uint32_t>(text.size());
    std::size_t position = 0;
    for (; position + 4 <= text.size(); position += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, text.data() + position, sizeof word);
        word *= factor;
        word ^= word >> 24;
        hash = hash * factor ^ word * factor;
    }
    const std::size_t rest = text.size() - position;
    for (std::size_t i = rest; i > 0; --i)
        hash ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[position + i - 1]))
                << 8 * (i - 1);
    if (rest > 0)
        hash *= factor;
    hash ^= hash >> 13;
    hash *= factor;
    return hash ^ hash >> 15;
}

const std::uint32_t MonitorHeader::kUsbHash = hashOf("usb");
const std::uint32_t MonitorHeader::kUsbDeviceHash = hashOf("usb_device");

std::string messageFor(const std::string& action, const std::string& path,
                       const std::vector<std::string>& properties) {
    static std::atomic<unsigned> sequence{0};
    std::string message;
    const auto add = [&](const std::string& property) {
        message += property;
        message += '\0';
    };
    add("ACTION=" + action);
    add("DEVPATH=" + path);
    add("SEQNUM=" + std::to_string(++sequence));
    for (const std::string& property : properties)
        add(property);
    MonitorHeader header;
    header.propertiesLength = static_cast<std::uint32_t>(message.size());
    std::string whole(sizeof header, '\0');
    std::memcpy(whole.data(), &header, sizeof header);
    return whole + message;
}

// A listener that has gone, or whose queue is full, misses it.
void send(const std::string& message, const std::filesystem::path& listener) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& path = listener.native();
    if (path.size() >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int sender = socket(AF_UNIX, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (sender < 0)
        return;
    sendto(sender, message.data(), message.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(sender);
}

} // namespace

void announceDevice(const std::string& testbed, const std::string& action, const std::string& path,
                    const std::vector<std::string>& properties) {
    const std::string message = messageFor(action, path, properties);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(testbed, error))
        if (entry.path().filename().native().starts_with("event"))
            send(message, entry.path());
}

} // namespace tavo::virtualusb
