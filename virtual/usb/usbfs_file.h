// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One opening of a device node: the requests of the kernel's USB file system, served by a port.
#pragma once

#include "client_memory.h"
#include "port.h"
#include "transfer_memory.h"

#include <deque>
#include <optional>

namespace tavo::virtualusb {

struct Answer {
    long result = 0;
    int error = 0;
};

inline Answer failure(int error) {
    return {error == 0 ? 0 : -1, error};
}

// A host program that waits in a system call.
struct Call {
    ObjectRef<UMockdevIoctlClient> client;
    unsigned long request = 0;
    ClientMemory argument;

    void answer(Answer answer) const;
};

// Not thread-safe: one lock is held around the port and all its files.
class UsbfsFile {
public:
    UsbfsFile(Port& port, unsigned deviceNumber, TransferMemory& memory);
    ~UsbfsFile();
    UsbfsFile(const UsbfsFile&) = delete;
    UsbfsFile& operator=(const UsbfsFile&) = delete;

    // nullopt: the call is answered later, or has been.
    std::optional<Answer> serve(const Call& call);
    // A read of the file gives the descriptors.
    Answer read(const Call& call);
    // The device has gone: a program that waits in a reap is told.
    void departed();

    // Whether a program that waits for the file is to go on: there is something to reap, or it
    // has not yet heard that the device is gone.
    bool isReady() const { return !finished.empty() || (port.isGone() && !knowsOfDeparture); }

private:
    using MaybeAnswer = std::optional<Answer>;

    struct Row {
        unsigned long request;
        MaybeAnswer (UsbfsFile::*serve)(const Call& call, const ClientMemory& argument);
    };
    static const Row kRows[];

    // A submitted request block, in the client's memory. The buffer of a control transfer is read
    // at once, as it begins with the setup packet; that of a bulk read only when there is data.
    struct Urb {
        ClientMemory block;
        std::optional<ClientMemory> buffer;
        std::shared_ptr<const void> memory;
        std::size_t dataOffset = 0;
        Bytes in;
    };

    MaybeAnswer getCapabilities(const Call& call, const ClientMemory& argument);
    MaybeAnswer getSpeed(const Call& call, const ClientMemory& argument);
    MaybeAnswer connectInfo(const Call& call, const ClientMemory& argument);
    MaybeAnswer getDriver(const Call& call, const ClientMemory& argument);
    MaybeAnswer driverCommand(const Call& call, const ClientMemory& argument);
    MaybeAnswer claimInterface(const Call& call, const ClientMemory& argument);
    MaybeAnswer releaseInterface(const Call& call, const ClientMemory& argument);
    MaybeAnswer disconnectAndClaim(const Call& call, const ClientMemory& argument);
    MaybeAnswer setInterface(const Call& call, const ClientMemory& argument);
    MaybeAnswer setConfiguration(const Call& call, const ClientMemory& argument);
    MaybeAnswer clearHalt(const Call& call, const ClientMemory& argument);
    MaybeAnswer resetEndpoint(const Call& call, const ClientMemory& argument);
    MaybeAnswer reset(const Call& call, const ClientMemory& argument);
    MaybeAnswer submit(const Call& call, const ClientMemory& argument);
    MaybeAnswer discard(const Call& call, const ClientMemory& argument);
    MaybeAnswer reap(const Call& call, const ClientMemory& argument);
    MaybeAnswer reapNoDelay(const Call& call, const ClientMemory& argument);
    MaybeAnswer controlAtOnce(const Call& call, const ClientMemory& argument);
    MaybeAnswer bulkAtOnce(const Call& call, const ClientMemory& argument);

    MaybeAnswer dispatch(const Call& call, const Row& row);
    Answer deny(); // of a device that is gone
    Transfer newTransfer() const;
    static int fillControl(Transfer& transfer, Urb& urb, std::size_t length);
    static int fillBulk(Transfer& transfer, const Urb& urb, std::size_t length);
    void complete(Urb urb, Transfer& transfer);
    Answer handOver(const ClientMemory& pointer);
    MaybeAnswer submitAndWait(const Call& call, const ClientMemory& argument,
                              std::size_t dataPointer, Transfer transfer, std::uint32_t timeout);

    Port& port;
    const unsigned deviceNumber;
    TransferMemory& memory;
    const FileNumber number;
    std::deque<Urb> finished;
    // A blocking reap: at most one, since a client's calls on a file come one after the other.
    std::optional<Call> blockedReap;
    std::size_t readPosition = 0;
    bool knowsOfDeparture = false;
};

} // namespace tavo::virtualusb
