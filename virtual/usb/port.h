// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A device plugged into the bus, seen from the host's kernel: who has opened it, who has claimed
// which interface, which settings are chosen, and the transfers that wait for the device.
//
// Errors are errno values as the kernel's USB file system gives them; 0 is success. Not
// thread-safe: the caller serialises.
#pragma once

#include "descriptors.h"
#include "transfer.h"

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>

namespace tavo::virtualusb {

class Port {
public:
    // Throws std::invalid_argument when the device's descriptors are malformed.
    explicit Port(std::unique_ptr<Device> device);

    // What is called when the device turns out to be gone, before its pending transfers end. It
    // must not call the port.
    void onDeparture(std::function<void()> call) { departed = std::move(call); }
    // Once it is gone, everything pending has ended with -ESHUTDOWN and requests fail with ENODEV.
    bool isGone() const { return gone; }
    // Pulls the device out, if it is not gone by itself, and gives it away.
    std::unique_ptr<Device> unplug();
    // Whether the device has been given away.
    bool isEmpty() const { return !device; }
    // Whether a device that was gone by itself is plugged in again.
    bool isBack() const;
    // When a device that is gone by itself is plugged in again, if ever.
    std::optional<Clock::time_point> returnsAt() const;

    const Descriptors& descriptors() const { return descriptorTree; }

    FileNumber openFile();
    // Drops what the file has pending (without finishing it) and releases what it has claimed.
    void closeFile(FileNumber file);

    int claim(FileNumber file, unsigned interface);
    // The interface returns to its setting 0.
    int release(FileNumber file, unsigned interface);
    // Takes an interface away from whoever holds it, as an unbinding of its driver does.
    int unbind(unsigned interface);
    bool isClaimed(unsigned interface) const { return claims.contains(interface); }

    int setInterface(FileNumber file, unsigned interface, unsigned setting);
    int setConfiguration(unsigned value);
    int clearHalt(FileNumber file, unsigned endpoint);
    // The host's side of an endpoint alone: a halted one stays so.
    int resetEndpoint(FileNumber file, unsigned endpoint);
    // All claims are lost and everything pending is cancelled.
    void reset();

    // Checks a transfer and hands it to the device, now or when its turn comes; `finished` is
    // called during this or a later call, and must not call the port. On an error it is not taken
    // and never finishes.
    int submit(Transfer transfer);
    // Cancels the newest pending transfer of that tag.
    int discard(FileNumber file, std::uint64_t tag);

    // Asks the device again for what it had no answer to, and ends what has timed out.
    void service();
    // When service() is to be called without another request, if ever.
    std::optional<Clock::time_point> nextService() const;

private:
    using Pending = std::list<Transfer>;

    static std::chrono::microseconds boundedPause(std::uint64_t microseconds);

    int checkEndpoint(FileNumber file, unsigned endpoint);
    int checkControl(const Transfer& transfer);
    int checkBulk(Transfer& transfer);
    const EndpointDescription* findChosen(unsigned interface, std::uint8_t endpoint) const;
    unsigned settingOf(unsigned interface) const;
    int chooseSetting(unsigned interface, unsigned setting);
    Outcome setAlternateSetting(unsigned interface, unsigned setting);
    bool holds(FileNumber file, unsigned interface) const;
    std::optional<unsigned> interfaceOf(const Transfer& transfer) const;

    Reply attempt(const Transfer& transfer);
    Reply attemptControl(const Transfer& transfer);
    Reply attemptBulk(const Transfer& transfer);
    std::optional<Outcome> answerAlone(const Transfer& transfer, Bytes& data);
    Outcome changeHalt(const SetupPacket& setup);
    bool serveHeads();
    void expire();
    void depart();

    Transfer finish(Pending::iterator position);
    void cancel(Pending::iterator position, int status);
    void cancelInterface(FileNumber file, unsigned interface);
    void cancelContinuations(const Transfer& failed);

    std::unique_ptr<Device> device;
    std::function<void()> departed;
    bool gone = false;
    Descriptors descriptorTree;
    std::map<unsigned, unsigned> chosenSettings; // by interface; absent is 0
    std::map<unsigned, FileNumber> claims;
    std::set<std::uint8_t> halted; // bulk endpoints that refuse everything until cleared
    // Where a split transfer has ended early: its further parts are refused until a new one.
    std::set<std::pair<FileNumber, std::uint8_t>> endedEarly;
    Pending pending; // in the order of submission
    FileNumber lastFile = 0;
};

} // namespace tavo::virtualusb
