// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A libusb without a bus. It records every call and answers it from
//   - a strict conversation: `usb().expect({...})`; any other call, and a row that never comes,
//     fails the test;
//   - else a Responder that plays a camera: `usb().respondWith(responder)`;
//   - else leniently: every call succeeds, reads give bytes queued with `queueIn`, then zeros.
// A fault (`failTransfer`) comes before any of these. Pauses are recorded and move the clock.
#pragma once

#include "fake/conversation.h"

#include <atomic>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <span>
#include <utility>

struct libusb_context {
    int unused = 0;
};
struct libusb_device {
    std::uint16_t vendor = 0, product = 0;
    int descriptorResult = 0;
    int references = 0;
};
struct libusb_device_handle {
    libusb_device* opened = nullptr;
};

namespace tavo::test {

struct Answer {
    int result = 0; // libusb's error, or the count of a control transfer
    Bytes data{};
};

// Plays a camera. A read gives at most the bytes wanted; fewer are a short transfer.
class Responder {
public:
    virtual ~Responder() = default;
    virtual int bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) = 0;
    virtual Answer bulkIn(unsigned endpoint, std::size_t wanted) = 0;
    virtual int controlOut(const Row& request) = 0;
    virtual Answer controlIn(const Row& request) = 0;
};

enum class ShortCount { half, none, one, allButOne };

struct Fault {
    const char* name;
    int error;                           // 0: a short count
    ShortCount count = ShortCount::half; // of the bytes that would have moved
};

inline constexpr Fault kInputOutputError{"IO", LIBUSB_ERROR_IO};
inline constexpr Fault kTimeout{"TIMEOUT", LIBUSB_ERROR_TIMEOUT};
inline constexpr Fault kPipe{"PIPE", LIBUSB_ERROR_PIPE};
inline constexpr Fault kNoDevice{"NO_DEVICE", LIBUSB_ERROR_NO_DEVICE};
inline constexpr Fault kShortCount{"SHORT", 0};
inline constexpr Fault kErrors[]{kInputOutputError, kTimeout, kPipe, kNoDevice};

enum class Repeat { once, fromThenOn };

// Some loops of the library have no bound of their own; a camera that never lets one go ends it by
// this exception.
struct EndlessCalls : std::exception {
    const char* what() const noexcept override { return "the library calls without end"; }
};

// Whether this thread is in a call of the fake: what it allocates there is not the library's.
bool insideFake();

class FakeUsb {
public:
    void reset(); // forgets calls, script and faults; the devices and the context stay

    void expect(Rows rows); // appends
    void verify();          // fails the test for rows that never came
    // After lenient play: the calls since the last reset or `forgetCalls` are exactly these.
    void expectCalls(const Rows& rows) const;

    void respondWith(Responder* responder); // null: lenient
    // The same for one of several devices, which then has a handle of its own.
    void respondWith(libusb_device* device, Responder* responder);
    void queueIn(unsigned endpoint, const Bytes& bytes);
    void failTransfer(std::size_t number, Fault fault, Repeat repeat = Repeat::once); // from 1
    // The same, counting all calls that have a result. Short counts strike transfers alone.
    void failCall(std::size_t number, Fault fault, Repeat repeat = Repeat::once);
    std::optional<Call> struck() const; // the first call that met the fault
    std::size_t callCount() const;      // since failCall
    void answer(Call call, int result); // what calls other than transfers return

    Rows calls() const;
    Rows transfers() const;
    std::vector<long> pauses() const;
    std::size_t transferCount() const;
    void forgetCalls(); // also restarts the numbers of transfers
    // For many short runs: no rows are kept, and the call after the first `most` throws.
    void countOnly(std::size_t most);
    int openHandles() const; // opened and not closed; outlives a reset

    void advanceClock(std::int64_t microseconds);
    void eachTransferTakes(std::int64_t microseconds);
    std::int64_t clock() const; // microseconds
    // Each transfer is followed by a moment of real time, in which other threads get their turn.
    void letOthersIn();

    libusb_device* device(std::size_t number = 0); // devices are made when first asked for
    libusb_device_handle* handle() { return &openHandle; }
    void plug(std::vector<std::pair<std::uint16_t, std::uint16_t>> vendorAndProduct);

    // The C functions end here.
    int simple(Call call);
    int transfer(libusb_device_handle* handle, Row& row, unsigned char* data, int* moved);
    void afterTransfer() const;
    void sleep(long microseconds);
    ssize_t listDevices(libusb_device*** list);
    int open(libusb_device* device, libusb_device_handle** opened);

private:
    struct Plan { // how one transfer is answered
        int result = 0;
        std::size_t moved = 0;
        Bytes data{};
    };
    const Row* next(const Row& actual);
    void record(const Row& row);
    bool strikes(Call call);
    Plan plan(const Row& row, Responder* responder);
    Plan planFromRow(const Row& row, const Row& expected) const;
    Plan planFromResponder(const Row& row, Responder& responder);
    Plan shortened(Plan full, const Row& row, const Responder* responder);
    void checkTransaction(const Row& actual);

    mutable std::mutex guard;
    Rows recorded;
    Rows script;
    std::size_t position = 0;
    bool mismatched = false;
    bool strictMode = false;
    struct Player {
        Responder* responder;
        libusb_device_handle handle;
    };
    Responder* commonResponder = nullptr;
    std::map<libusb_device*, Player> players;
    std::map<unsigned, std::deque<std::uint8_t>> queued;
    using Source = std::pair<const Responder*, unsigned>; // and its endpoint
    std::map<Source, Bytes> held;                         // what a short read has left over
    std::map<Call, int> results;
    std::size_t made = 0; // calls of any kind
    std::optional<std::size_t> limit;
    std::size_t callNumber = 0; // of those that a fault may strike
    std::size_t faultNumber = 0;
    bool everyCallCounts = false;
    Fault fault = kInputOutputError;
    Repeat repeat = Repeat::once;
    std::optional<Call> struckCall;
    int handlesOpen = 0;
    std::optional<std::uint8_t> lastTransaction;
    std::int64_t now = 1700000000LL * 1000000;
    std::int64_t transferTime = 0;
    std::atomic<bool> othersGetIn{false};
    std::deque<libusb_device> devices;
    std::vector<libusb_device*> plugged;
    libusb_device_handle openHandle;
};

FakeUsb& usb();

} // namespace tavo::test
