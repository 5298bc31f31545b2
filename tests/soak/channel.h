// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the program with the cameras and the program with the driver tell each other: lines of
// text, each a message.
//
//   driver to cameras                  answered by
//   call TEXT     a call begins
//   back          the call has returned
//   finding TEXT  something is not as it should be
//   note TEXT     for whoever looks
//   opened        a camera is open      go
//   health        the faults are to end well, or well replugged
//   healthy       the camera works as it should
#pragma once

#include <optional>
#include <string>

namespace tavo::soak {

class Channel {
public:
    // Takes the descriptor over.
    explicit Channel(int descriptor_) : descriptor(descriptor_) {}
    ~Channel();
    Channel(Channel&& other) noexcept;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void send(const std::string& message);
    // Waits at most `milliseconds` (-1: for ever); nothing when none came.
    std::optional<std::string> receive(int milliseconds);
    bool isClosed() const { return closed; }

private:
    int descriptor;
    bool closed = false;
};

} // namespace tavo::soak
