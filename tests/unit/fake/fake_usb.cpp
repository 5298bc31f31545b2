// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/fake_usb.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

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
    responder = nullptr;
    queued.clear();
    held.clear();
    results.clear();
    transferNumber = faultNumber = 0;
    transferTime = 0;
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
    responder = player;
}

void FakeUsb::queueIn(unsigned endpoint, const Bytes& bytes) {
    const std::lock_guard hold(guard);
    queued[endpoint].insert(queued[endpoint].end(), bytes.begin(), bytes.end());
}

void FakeUsb::failTransfer(std::size_t number, Fault kind, Repeat how) {
    const std::lock_guard hold(guard);
    transferNumber = 0;
    faultNumber = number;
    fault = kind;
    repeat = how;
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
    transferNumber = 0;
}

void FakeUsb::advanceClock(std::int64_t microseconds) {
    const std::lock_guard hold(guard);
    now += microseconds;
}

void FakeUsb::eachTransferTakes(std::int64_t microseconds) {
    const std::lock_guard hold(guard);
    transferTime = microseconds;
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
    if (recorded.size() >= (mismatched ? kMostCallsAfterMismatch : kMostCalls))
        throw std::runtime_error("the library calls without end");
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

FakeUsb::Plan FakeUsb::planFromResponder(const Row& row) {
    if (row.call == Call::bulkOut)
        return {responder->bulkOut(row.endpoint, row.data), row.length, {}};
    if (row.call == Call::controlOut)
        return {responder->controlOut(row), row.length, {}};
    Bytes& left = held[row.endpoint];
    Answer answer;
    if (!left.empty()) {
        answer.data.assign(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(
                                                            std::min(left.size(), row.length)));
        left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(answer.data.size()));
    } else {
        answer = row.call == Call::bulkIn ? responder->bulkIn(row.endpoint, row.length)
                                          : responder->controlIn(row);
    }
    return {std::min(answer.result, 0), answer.data.size(), answer.data};
}

// About half of the bytes arrive; the rest of a bulk read waits for the next one.
FakeUsb::Plan FakeUsb::shortened(Plan full, const Row& row) {
    const std::size_t all = full.moved;
    full.moved = row.call == Call::bulkIn
                     ? std::max<std::size_t>(all / 2, std::min<std::size_t>(all, 1))
                     : all / 2;
    if (row.call == Call::bulkIn && responder && full.data.size() > full.moved) {
        Bytes& left = held[row.endpoint];
        left.insert(left.begin(), full.data.begin() + static_cast<std::ptrdiff_t>(full.moved),
                    full.data.end());
    }
    full.data.resize(std::min(full.data.size(), full.moved));
    return full;
}

FakeUsb::Plan FakeUsb::plan(const Row& row) {
    ++transferNumber;
    const bool faulty =
        faultNumber != 0 && (transferNumber == faultNumber ||
                             (repeat == Repeat::fromThenOn && transferNumber > faultNumber));
    if (faulty && fault.error != 0)
        return {fault.error, 0, {}};
    Plan planned{0, row.length, {}};
    if (strictMode) {
        const Row* expected = next(row);
        planned = expected ? planFromRow(row, *expected) : Plan{LIBUSB_ERROR_OTHER, 0, {}};
    } else if (responder) {
        planned = planFromResponder(row);
    } else if (isIn(row.call)) {
        auto& queue = queued[row.endpoint];
        planned.data.assign(row.length, 0);
        for (std::size_t i = 0; i < row.length && !queue.empty(); ++i) {
            planned.data[i] = queue.front();
            queue.pop_front();
        }
    }
    return faulty && planned.result >= 0 ? shortened(planned, row) : planned;
}

int FakeUsb::transfer(Row& row, unsigned char* data, int* moved) {
    const std::lock_guard hold(guard);
    now += transferTime;
    if (!isIn(row.call))
        row.data.assign(data, data + row.length);
    checkTransaction(row);
    const Plan planned = plan(row);
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
    openHandle.opened = opened;
    *result = &openHandle;
    return code;
}

} // namespace tavo::test
