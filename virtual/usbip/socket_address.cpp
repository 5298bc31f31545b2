// SPDX-License-Identifier: LGPL-2.1-or-later
#include "socket_address.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

namespace tavo::usbip {
namespace {

bool isPort(const std::string& text) {
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

SocketAddress addressOf(const sockaddr_storage& address) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    const socklen_t size =
        address.ss_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(),
                    port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return {"?", "0"};
    return {host.data(), port.data()};
}

[[noreturn]] void refuse(const SocketAddress& address, const std::string& reason) {
    throw std::runtime_error("cannot listen on " + textOf(address) + ": " + reason);
}

FileDescriptor tryListen(const addrinfo& candidate) {
    FileDescriptor socket(::socket(candidate.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK,
                                   candidate.ai_protocol));
    if (!socket)
        return socket;
    // The connections of a server that has just ended keep the port busy otherwise.
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(socket.get(), candidate.ai_addr, candidate.ai_addrlen) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0)
        return {};
    return socket;
}

} // namespace

SocketAddress parseAddress(const std::string& text) {
    const auto colon = text.rfind(':');
    SocketAddress address;
    if (colon != std::string::npos) {
        address = {text.substr(0, colon), text.substr(colon + 1)};
        const std::string& host = address.host;
        if (host.size() > 2 && host.front() == '[' && host.back() == ']')
            address.host = host.substr(1, host.size() - 2);
        else if (host.find_first_of(":[]") != std::string::npos)
            address.host.clear(); // an IPv6 address whose end cannot be told
    }
    if (address.host.empty() || !isPort(address.port))
        throw std::invalid_argument("\"" + text +
                                    "\" is no address; accepted is HOST:PORT with a port from 0 to "
                                    "65535, e.g. 127.0.0.1:3240 or [::1]:3240");
    return address;
}

FileDescriptor listenOn(const SocketAddress& address) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &wanted, &found))
        refuse(address, gai_strerror(error));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> candidates(found, freeaddrinfo);
    for (const addrinfo* candidate = found; candidate; candidate = candidate->ai_next)
        if (FileDescriptor socket = tryListen(*candidate))
            return socket;
    refuse(address, std::strerror(errno));
}

SocketAddress boundAddress(const FileDescriptor& socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return addressOf(address);
}

std::string textOf(const SocketAddress& address) {
    const bool bare = address.host.find(':') == std::string::npos;
    return (bare ? address.host : "[" + address.host + "]") + ":" + address.port;
}

std::string nameOf(const sockaddr_storage& address) {
    return textOf(addressOf(address));
}

void sendSmallReplies(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void noticeVanishedPeer(int socket) {
    constexpr int on = 1;
    constexpr int idle = 30;             // seconds of silence before the first probe
    constexpr int interval = 10;         // seconds between probes
    constexpr int count = 3;             // probes without an answer
    constexpr unsigned unsent = 60'000U; // milliseconds; probes wait for what is on its way
    setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &unsent, sizeof unsent);
}

} // namespace tavo::usbip
