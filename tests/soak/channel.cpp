// SPDX-License-Identifier: LGPL-2.1-or-later
#include "channel.h"

#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tavo::soak {

Channel::~Channel() {
    if (descriptor >= 0)
        close(descriptor);
}

Channel::Channel(Channel&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)), closed(other.closed) {}

void Channel::send(const std::string& message) {
    if (::send(descriptor, message.data(), message.size(), MSG_NOSIGNAL) < 0)
        closed = true;
}

std::optional<std::string> Channel::receive(int milliseconds) {
    pollfd waiting{descriptor, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) <= 0)
        return std::nullopt;
    std::array<char, 2048> buffer{};
    const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
    if (length > 0)
        return std::string(buffer.data(), static_cast<std::size_t>(length));
    closed = closed || length == 0 || errno != EINTR;
    return std::nullopt;
}

} // namespace tavo::soak
