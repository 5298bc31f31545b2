// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One client of the server: its socket, the bytes on their way, and what it has imported. It never
// blocks and has no thread; whoever owns it polls its socket and calls it when that or its time is
// ready. Any stream socket will do, one end of a socketpair too.
#pragma once

#include "device_session.h"
#include "exported_device.h"
#include "file_descriptor.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavo::usbip {

using Log = std::function<void(const std::string&)>;

// More than any request of a real host: its kernel has to find the memory in one piece.
inline constexpr std::int32_t kLongestTransfer = 64 << 20;
inline constexpr std::int32_t kLongestControlTransfer = 0xffff;
inline constexpr std::size_t kMostBytesPending = std::size_t{256} << 20;
inline constexpr std::size_t kMostRequestsPending = 4096;
// From this on the client has to take answers before more of its commands are read or carried out.
inline constexpr std::size_t kMostBytesUnsent = std::size_t{64} << 20;

class Connection {
public:
    // A client that has yet to say what it wants. `peer` is its name in the log. The references
    // must outlive the connection.
    Connection(FileDescriptor socket, std::string peer, std::deque<ExportedDevice>& devices,
               const Log& log);
    // A client that has imported a device by other means: the device has been acquired for it.
    Connection(FileDescriptor socket, std::string peer, std::deque<ExportedDevice>& devices,
               const Log& log, ExportedDevice& device);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int descriptor() const { return socket.get(); }
    // What to poll for.
    short events() const;
    // Serves what poll has found and what has become due.
    void serve(short found);
    std::optional<Clock::time_point> nextService() const;
    bool isOver() const { return phase == Phase::over; }
    // Hangs up and says why.
    void fail(const std::string& reason);

private:
    enum class Phase {
        opening,  // until a list or an import is asked for
        serving,  // commands to the imported device
        draining, // sends what is left and waits for the client to hang up
        over,
    };

    bool takesInput() const;
    void receive();
    bool receiveSome();
    void parse();
    std::size_t parseOperation(std::span<const std::uint8_t> bytes);
    std::size_t parseImport(std::span<const std::uint8_t> bytes);
    std::size_t parseCommand(std::span<const std::uint8_t> bytes);
    std::size_t parseSubmit(const Submit& command, std::span<const std::uint8_t> data);
    void list();
    void import(const std::string& busId);
    void startSession(ExportedDevice& device);
    void endSession();
    void serviceSession();

    void send(std::span<const std::uint8_t> head, Bytes data = {});
    void flush();
    void drain();
    void finish();

    FileDescriptor socket;
    std::string peer;
    std::deque<ExportedDevice>& devices;
    const Log& log;
    Phase phase = Phase::opening;
    std::optional<Clock::time_point> deadline; // of the phase

    Bytes input;
    std::deque<Bytes> output;
    std::size_t outputSent = 0; // of the first piece
    std::size_t outputBytes = 0;

    ExportedDevice* imported = nullptr;
    std::unique_ptr<DeviceSession> session;
    std::optional<Clock::time_point> sessionDue;
};

} // namespace tavo::usbip
