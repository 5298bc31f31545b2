// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An imported device as its host sees it: the state a host sets in it, and the requests that wait
// for an answer. Knows nothing of sockets; not thread-safe.
#pragma once

#include "usb/descriptors.h"
#include "usb/standard_requests.h"
#include "wire.h"

#include <array>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>

namespace tavo::usbip {

using virtualusb::Clock;

class DeviceSession {
public:
    // Takes one reply: its fixed part, and the data that follow it.
    using Send = std::function<void(const std::array<std::uint8_t, kCommandSize>&, Bytes)>;

    // The references must outlive the session.
    DeviceSession(virtualusb::Device& device, const virtualusb::Descriptors& descriptors,
                  Send send);

    // The command has been checked: its length is not negative, and `out` are the bytes of an
    // outward one. Answers now or in a later call, in order within one endpoint.
    void submit(const Submit& command, Bytes out);
    // A request that is unlinked while it waits has no other answer than that.
    void unlink(const Unlink& command);

    // Asks the device again for what it had no answer to.
    void service();
    // When service() is to be called without another command, if ever.
    std::optional<Clock::time_point> nextService() const;

    // The device was unplugged: everything pending has been answered, and nothing else will be.
    bool isGone() const { return gone; }
    // How many bytes the pending requests bring or want.
    std::size_t pendingBytes() const { return bytesPending; }
    std::size_t pendingCount() const { return pending.size(); }

private:
    using Transfer = virtualusb::Transfer;
    using Reply = virtualusb::Reply;
    using Pending = std::list<Transfer>;

    bool serveHeads();
    Reply attempt(Transfer& transfer);
    Reply attemptBulk(Transfer& transfer);
    // An endpoint of the chosen settings, or null.
    const virtualusb::EndpointDescription* findEndpoint(std::uint8_t address) const;
    unsigned settingOf(unsigned interface) const;

    Reply attemptControl(const Transfer& transfer);
    Reply answerControl(const SetupPacket& setup, std::span<const std::uint8_t> out);
    virtualusb::Outcome setConfiguration(unsigned value);
    virtualusb::Outcome setInterface(unsigned interface, unsigned setting);
    virtualusb::Outcome setHalt(const SetupPacket& setup, bool halted);
    void unhalt(unsigned interface);
    bool tellsOfReset(const SetupPacket& setup) const;
    void reset();

    void answer(Pending::iterator position);
    void answerGone();
    void giveUp(Pending::iterator position);
    void remove(Pending::iterator position);

    virtualusb::Device& device;
    const virtualusb::Descriptors& descriptors;
    Send send;
    unsigned configuration = 0;                  // 0 until the host has chosen one
    std::map<unsigned, unsigned> chosenSettings; // by interface; absent is 0
    std::set<std::uint8_t> halted;               // endpoints that refuse all until cleared
    Pending pending;                             // in the order of submission
    std::size_t bytesPending = 0;
    bool gone = false;
};

} // namespace tavo::usbip
