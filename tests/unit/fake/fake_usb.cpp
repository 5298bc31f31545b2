// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/fake_usb.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace tavo::test {
namespace {

// No test makes more calls. Some loops of the library have no bound of their own; a test that
// would never end fails instead.
constexpr std::size_t kMostCalls = 400000;
constexpr std::size_t kMostCallsAfterMismatch = 1000;
constexpr std::size_t kBytesKept = 4096; // of a read, for messages

bool isTransfer(Call call) {
    return call == Call::bulkOut || call == Call::bulkIn || call == Call::controlOut ||
           call == Call::controlIn;
}

bool isIn(Call call) {
    return call == Call::bulkIn || call == Call::controlIn;
}

bool hasResult(Call call) {
    return call != Call::refDevice && call != Call::unrefDevice && call != Call::closeDevice;
}

// A read is left at least one byte unless it is to have none, so that asking for the rest ends.
std::size_t shortCount(std::size_t all, Call call, ShortCount count) {
    const std::size_t one = std::min<std::size_t>(all, 1);
    const std::size_t least = call == Call::bulkIn ? one : 0;
    switch (count) {
    case ShortCount::half: return std::max(all / 2, least);
    case ShortCount::none: return 0;
    case ShortCount::one: return one;
    case ShortCount::allButOne: return std::max(all - one, least);
    }
    return 0;
}

} // namespace

FakeUsb& usb() {
    static FakeUsb instance;
    return instance;
}

void FakeUsb::reset() {
    const std::lock_guard hold(guard);
    recorded.clear();
    script.clear();
    position = 0;
    mismatched = strictMode = false;
    commonResponder = nullptr;
    players.clear();
    queued.clear();
    held.clear();
    results.clear();
    made = callNumber = faultNumber = 0;
    limit.reset();
    everyCallCounts = false;
    struckCall.reset();
    transferTime = 0;
    othersGetIn = false;
    plugged.clear();
    lastTransaction.reset();
}

void FakeUsb::expect(Rows rows) {
    const std::lock_guard hold(guard);
    strictMode = true;
    script.insert(script.end(), rows.begin(), rows.end());
}

void FakeUsb::verify() {
    const std::lock_guard hold(guard);
    if (mismatched)
        return;
    for (std::size_t i = position; i < script.size(); ++i)
        ADD_FAILURE() << "row " << i + 1 << " never came: " << describe(script[i]);
    position = script.size();
}

void FakeUsb::expectCalls(const Rows& rows) const {
    const Rows actual = calls();
    for (std::size_t i = 0; i < std::max(rows.size(), actual.size()); ++i) {
        const std::string expectedText = i < rows.size() ? describe(rows[i]) : "nothing";
        const std::string actualText = i < actual.size() ? describe(actual[i]) : "nothing";
        if (i < rows.size() && i < actual.size() && difference(rows[i], actual[i]).empty())
            continue;
        ADD_FAILURE() << "call " << i + 1 << " differs\n  expected " << expectedText
                      << "\n  actual   " << actualText;
        return;
    }
}

void FakeUsb::respondWith(Responder* player) {
    const std::lock_guard hold(guard);
    commonResponder = player;
}

void FakeUsb::respondWith(libusb_device* device, Responder* player) {
    const std::lock_guard hold(guard);
    players[device] = {player, {}};
}

void FakeUsb::queueIn(unsigned endpoint, const Bytes& bytes) {
    const std::lock_guard hold(guard);
    queued[endpoint].insert(queued[endpoint].end(), bytes.begin(), bytes.end());
}

void FakeUsb::failTransfer(std::size_t number, Fault kind, Repeat how) {
    const std::lock_guard hold(guard);
    callNumber = 0;
    faultNumber = number;
    everyCallCounts = false;
    fault = kind;
    repeat = how;
    struckCall.reset();
}

void FakeUsb::failCall(std::size_t number, Fault kind, Repeat how) {
    failTransfer(number, kind, how);
    const std::lock_guard hold(guard);
    everyCallCounts = true;
}

std::optional<Call> FakeUsb::struck() const {
    const std::lock_guard hold(guard);
    return struckCall;
}

std::size_t FakeUsb::callCount() const {
    const std::lock_guard hold(guard);
    return callNumber;
}

void FakeUsb::answer(Call call, int result) {
    const std::lock_guard hold(guard);
    results[call] = result;
}

Rows FakeUsb::calls() const {
    const std::lock_guard hold(guard);
    return recorded;
}

Rows FakeUsb::transfers() const {
    Rows rows = calls();
    std::erase_if(rows, [](const Row& row) { return !isTransfer(row.call); });
    return rows;
}

std::vector<long> FakeUsb::pauses() const {
    std::vector<long> all;
    for (const Row& row : calls()) {
        if (row.call == Call::pause)
            all.push_back(row.microseconds);
    }
    return all;
}

std::size_t FakeUsb::transferCount() const {
    return transfers().size();
}

void FakeUsb::forgetCalls() {
    const std::lock_guard hold(guard);
    recorded.clear();
    made = callNumber = 0;
}

void FakeUsb::countOnly(std::size_t most) {
    const std::lock_guard hold(guard);
    recorded.clear();
    made = 0;
    limit = most;
}

int FakeUsb::openHandles() const {
    const std::lock_guard hold(guard);
    return handlesOpen;
}

void FakeUsb::advanceClock(std::int64_t microseconds) {
    const std::lock_guard hold(guard);
    now += microseconds;
}

void FakeUsb::eachTransferTakes(std::int64_t microseconds) {
    const std::lock_guard hold(guard);
    transferTime = microseconds;
}

void FakeUsb::letOthersIn() {
    othersGetIn = true;
}

void FakeUsb::afterTransfer() const {
    constexpr std::chrono::microseconds kMoment{20};
    if (othersGetIn)
        std::this_thread::sleep_for(kMoment);
}

std::int64_t FakeUsb::clock() const {
    const std::lock_guard hold(guard);
    return now;
}

libusb_device* FakeUsb::device(std::size_t number) {
    const std::lock_guard hold(guard);
    while (devices.size() <= number)
        devices.emplace_back();
    return &devices[number];
}

void FakeUsb::plug(std::vector<std::pair<std::uint16_t, std::uint16_t>> vendorAndProduct) {
    const std::lock_guard hold(guard);
    plugged.clear();
    for (const auto& [vendor, product] : vendorAndProduct) {
        devices.push_back({.vendor = vendor, .product = product});
        plugged.push_back(&devices.back());
    }
}

void FakeUsb::record(const Row& row) {
    if (made >= limit.value_or(mismatched ? kMostCallsAfterMismatch : kMostCalls))
        throw EndlessCalls();
    ++made;
    if (limit)
        return;
    recorded.push_back(row);
    if (row.call == Call::bulkIn && recorded.back().data.size() > kBytesKept)
        recorded.back().data.resize(kBytesKept);
}

// The row of the conversation that this call is, or null when it is another.
const Row* FakeUsb::next(const Row& actual) {
    if (mismatched)
        return nullptr;
    const bool over = position >= script.size();
    const std::string wrong =
        over ? "the conversation is over" : difference(script[position], actual);
    if (wrong.empty())
        return &script[position++];
    ADD_FAILURE() << "row " << position + 1 << ": " << wrong << "\n  expected "
                  << (over ? "nothing" : describe(script[position])) << "\n  actual   "
                  << describe(actual);
    mismatched = true;
    return nullptr;
}

// Framed requests number themselves; in a strict conversation each number follows the last.
void FakeUsb::checkTransaction(const Row& actual) {
    if (actual.call != Call::bulkOut || actual.endpoint != 0x04 || actual.data.size() < 16)
        return;
    const std::uint8_t number = actual.data[1];
    if (strictMode && lastTransaction && static_cast<std::uint8_t>(*lastTransaction + 1) != number)
        ADD_FAILURE() << "transaction byte " << int{number} << " follows " << int{*lastTransaction};
    lastTransaction = number;
}

int FakeUsb::simple(Call call) {
    const std::lock_guard hold(guard);
    Row row = tavo::test::device(call);
    record(row);
    if (call == Call::closeDevice)
        --handlesOpen;
    if (everyCallCounts && hasResult(call) && strikes(call) && fault.error != 0)
        return fault.error;
    if (strictMode) {
        const Row* expected = next(row);
        return expected ? expected->result : LIBUSB_ERROR_OTHER;
    }
    const auto found = results.find(call);
    return found == results.end() ? 0 : found->second;
}

FakeUsb::Plan FakeUsb::planFromRow(const Row& row, const Row& expected) const {
    Plan planned{expected.result, expected.moved.value_or(row.length), {}};
    if (planned.result < 0)
        planned.moved = expected.moved.value_or(0);
    if (isIn(row.call))
        planned.data.assign(expected.data.begin(),
                            expected.data.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                        planned.moved, expected.data.size())));
    return planned;
}

FakeUsb::Plan FakeUsb::planFromResponder(const Row& row, Responder& responder) {
    if (row.call == Call::bulkOut)
        return {responder.bulkOut(row.endpoint, row.data), row.length, {}};
    if (row.call == Call::controlOut)
        return {responder.controlOut(row), row.length, {}};
    Bytes& left = held[{&responder, row.endpoint}];
    Answer answer;
    if (!left.empty()) {
        answer.data.assign(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(
                                                            std::min(left.size(), row.length)));
        left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(answer.data.size()));
    } else {
        answer = row.call == Call::bulkIn ? responder.bulkIn(row.endpoint, row.length)
                                          : responder.controlIn(row);
    }
    return {std::min(answer.result, 0), answer.data.size(), answer.data};
}

// The rest of a bulk read waits for the next one.
FakeUsb::Plan FakeUsb::shortened(Plan full, const Row& row, const Responder* responder) {
    full.moved = shortCount(full.moved, row.call, fault.count);
    if (row.call == Call::bulkIn && responder && full.data.size() > full.moved) {
        Bytes& left = held[{responder, row.endpoint}];
        left.insert(left.begin(), full.data.begin() + static_cast<std::ptrdiff_t>(full.moved),
                    full.data.end());
    }
    full.data.resize(std::min(full.data.size(), full.moved));
    return full;
}

// Whether the call that is made now meets the fault.
bool FakeUsb::strikes(Call call) {
    ++callNumber;
    const bool faulty =
        faultNumber != 0 &&
        (callNumber == faultNumber || (repeat == Repeat::fromThenOn && callNumber > faultNumber));
    if (faulty && !struckCall)
        struckCall = call;
    return faulty;
}

FakeUsb::Plan FakeUsb::plan(const Row& row, Responder* responder) {
    const bool faulty = strikes(row.call);
    if (faulty && fault.error != 0)
        return {fault.error, 0, {}};
    Plan planned{0, row.length, {}};
    if (strictMode) {
        const Row* expected = next(row);
        planned = expected ? planFromRow(row, *expected) : Plan{LIBUSB_ERROR_OTHER, 0, {}};
    } else if (responder) {
        planned = planFromResponder(row, *responder);
    } else if (isIn(row.call)) {
        auto& queue = queued[row.endpoint];
        planned.data.assign(row.length, 0);
        for (std::size_t i = 0; i < row.length && !queue.empty(); ++i) {
            planned.data[i] = queue.front();
            queue.pop_front();
        }
    }
    return faulty && planned.result >= 0 ? shortened(planned, row, responder) : planned;
}

int FakeUsb::transfer(libusb_device_handle* handle, Row& row, unsigned char* data, int* moved) {
    const std::lock_guard hold(guard);
    const auto player = players.find(handle ? handle->opened : nullptr);
    now += transferTime;
    if (!isIn(row.call))
        row.data.assign(data, data + row.length);
    checkTransaction(row);
    const Plan planned =
        plan(row, player == players.end() ? commonResponder : player->second.responder);
    if (isIn(row.call)) {
        std::copy_n(planned.data.begin(), std::min(planned.data.size(), row.length), data);
        row.data = planned.data;
    }
    row.result = planned.result;
    record(row);
    if (moved)
        *moved = static_cast<int>(planned.moved);
    return planned.result;
}

void FakeUsb::sleep(long microseconds) {
    const std::lock_guard hold(guard);
    now += microseconds;
    const Row row = tavo::test::pause(microseconds);
    record(row);
    if (strictMode)
        next(row);
}

ssize_t FakeUsb::listDevices(libusb_device*** list) {
    const int result = simple(Call::deviceList);
    if (result < 0)
        return result;
    *list = plugged.data();
    for (libusb_device* each : plugged)
        ++each->references;
    return static_cast<ssize_t>(plugged.size());
}

int FakeUsb::open(libusb_device* opened, libusb_device_handle** result) {
    const int code = simple(Call::openDevice);
    if (code < 0)
        return code;
    const std::lock_guard hold(guard);
    ++handlesOpen;
    const auto player = players.find(opened);
    *result = player == players.end() ? &openHandle : &player->second.handle;
    (*result)->opened = opened;
    return code;
}

} // namespace tavo::test
