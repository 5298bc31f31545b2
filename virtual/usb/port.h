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

    const Descriptors& descriptors() const { return descriptorTree; }

    FileNumber openFile();
    // Drops what the file has pending (without finishing it) and its claims. Settings stay.
    void closeFile(FileNumber file);

    int claim(FileNumber file, unsigned interface);
    int release(FileNumber file, unsigned interface);
    // Takes an interface away from whoever holds it, as an unbinding of its driver does.
    int unbind(unsigned interface);
    bool isClaimed(unsigned interface) const { return claims.contains(interface); }

    int setInterface(FileNumber file, unsigned interface, unsigned setting);
    int setConfiguration(unsigned value);
    int clearHalt(FileNumber file, unsigned endpoint) const;
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

    int checkClaim(FileNumber file, unsigned interface) const;
    int checkControl(const Transfer& transfer) const;
    int checkBulk(const Transfer& transfer);
    bool holds(FileNumber file, unsigned interface) const;
    std::optional<unsigned> interfaceOf(const Transfer& transfer) const;

    bool attempt(Transfer& transfer);
    bool attemptControl(Transfer& transfer);
    bool attemptBulk(Transfer& transfer);
    std::optional<Outcome> answerAlone(const Transfer& transfer, Bytes& data);
    bool serveHeads();
    void expire();

    Transfer finish(Pending::iterator position);
    void cancel(Pending::iterator position, int status);
    void cancelInterface(FileNumber file, unsigned interface);
    void cancelContinuations(const Transfer& failed);

    std::unique_ptr<Device> device;
    Descriptors descriptorTree;
    std::map<unsigned, unsigned> chosenSettings; // by interface; absent is 0
    std::map<unsigned, FileNumber> claims;
    // Where a split transfer has ended early: its further parts are refused until a new one.
    std::set<std::pair<FileNumber, std::uint8_t>> endedEarly;
    Pending pending; // in the order of submission
    FileNumber lastFile = 0;
};

} // namespace tavo::virtualusb
