// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The bytes of a connection on their way in and out.
#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>

namespace tavo::usbip {
namespace {

constexpr std::size_t kReceiveSize = 64 << 10;
constexpr std::size_t kMostPieces = 16;
// How many times in a row one client is read before the others have their turn.
constexpr int kMostReceives = 16;
constexpr std::chrono::seconds kDrainingTime{2};

bool isTemporary(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

void Connection::receive() {
    for (int count = 0; count < kMostReceives && takesInput() && receiveSome(); ++count)
        parse();
    if (phase == Phase::draining)
        input.clear();
}

// False when there is nothing more for now, or never again.
bool Connection::receiveSome() {
    if (isOver())
        return false;
    const std::size_t before = input.size();
    input.resize(before + kReceiveSize);
    const ssize_t count = recv(socket.get(), input.data() + before, kReceiveSize, MSG_DONTWAIT);
    const int error = errno;
    input.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0 || (count < 0 && !isTemporary(error)))
        finish();
    return count > 0;
}

void Connection::send(std::span<const std::uint8_t> head, Bytes data) {
    outputBytes += head.size() + data.size();
    output.emplace_back(head.begin(), head.end());
    if (!data.empty())
        output.push_back(std::move(data));
}

void Connection::flush() {
    while (!output.empty()) {
        std::array<iovec, kMostPieces> pieces{};
        msghdr message{};
        message.msg_iov = pieces.data();
        std::size_t skipped = outputSent;
        for (auto piece = output.begin(); piece != output.end() && message.msg_iovlen < kMostPieces;
             ++piece, skipped = 0)
            pieces[message.msg_iovlen++] = {piece->data() + skipped, piece->size() - skipped};
        const ssize_t count = sendmsg(socket.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            if (!isTemporary(errno))
                finish();
            return;
        }
        outputBytes -= static_cast<std::size_t>(count);
        outputSent += static_cast<std::size_t>(count);
        while (!output.empty() && outputSent >= output.front().size()) {
            outputSent -= output.front().size();
            output.pop_front();
        }
    }
    if (phase == Phase::draining)
        shutdown(socket.get(), SHUT_WR);
}

// Closing a socket while the client's bytes lie unread in it would destroy the last replies on
// their way.
void Connection::drain() {
    phase = Phase::draining;
    deadline = Clock::now() + kDrainingTime;
}

} // namespace tavo::usbip
