// SPDX-License-Identifier: LGPL-2.1-or-later
#include "echo_device.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <optional>
#include <utility>

namespace tavo::usbiptest {
namespace {

using namespace tavo::virtualusb;
using Clock = std::chrono::steady_clock;

constexpr std::uint8_t kIn = 0x80;
constexpr std::uint8_t kVendorOut = 0x40;
constexpr std::uint8_t kTypeMask = 0x60;

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

Reply cut(Bytes data, std::size_t length) {
    data.resize(std::min(data.size(), length));
    return {Outcome::done, std::move(data)};
}

class EchoDevice : public Device {
public:
    Bytes descriptors() const override {
        Bytes bytes{18, 1, 0, 2, 0xff, 1, 2, 64, 0x09, 0x12, 0x02, 0x7a, 0x34, 0x12, 0, 0, 0, 1};
        append(bytes, {9, 2, 9 + 18 + 49, 0, 1, 1, 0, 0x80, 50});
        append(bytes, {9, 4, 0, 0, 1, 0xfe, 3, 4, 0});
        append(bytes, {7, 5, kAlways | kIn, 2, 0, 2, 0});
        append(bytes, {9, 4, 0, 1, 6, 0xff, 0, 0, 0});
        for (const int address :
             {int{kEcho}, kEcho | kIn, int{kRefuse}, kRefuse | kIn, kExcess | kIn, kEndless | kIn})
            append(bytes, {7, 5, static_cast<std::uint8_t>(address), 2, 0, 2, 0});
        return bytes;
    }

    Outcome setAlternateSetting(unsigned, unsigned setting) override {
        chosen = static_cast<std::uint8_t>(setting);
        return isGone ? Outcome::gone : Outcome::done;
    }

    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        if (isGone)
            return Outcome::gone;
        if (setup.requestType != kVendorOut)
            return (setup.requestType & kTypeMask) == 0 ? Outcome::done : Outcome::stalled;
        const auto time = Clock::now() + std::chrono::milliseconds(setup.value);
        switch (setup.request) {
        case kStore: stored.assign(data.begin(), data.end()); return Outcome::done;
        case kUnplug:
            isGone = true;
            wakesAt.reset();
            if (setup.value != kForEver)
                wakesAt = time;
            return Outcome::done;
        case kLater: wakesAt = time; return Outcome::done;
        default: return Outcome::stalled;
        }
    }

    Reply controlIn(const SetupPacket& setup) override {
        if (isGone)
            return {Outcome::gone, {}};
        if (setup.request == kStore)
            return cut(stored, setup.length);
        if (setup.request == kState)
            return cut({chosen, resets, cancels}, setup.length);
        return {Outcome::stalled, {}};
    }

    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        if (isGone)
            return Outcome::gone;
        if (endpoint != kEcho)
            return Outcome::stalled;
        echoes.emplace_back(data.begin(), data.end());
        return Outcome::done;
    }

    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        if (isGone)
            return {Outcome::gone, {}};
        switch (endpoint) {
        case kEcho | kIn: return echo(length);
        case kAlways | kIn: return {Outcome::done, {0xaa}};
        case kExcess | kIn: return {Outcome::done, Bytes(length + std::size_t{1}, 0xee)};
        case kEndless | kIn: return {Outcome::done, Bytes(length, 0x5a)};
        default: return {Outcome::stalled, {}};
        }
    }

    void cancelled(std::uint8_t endpoint) override {
        if (endpoint == (kEcho | kIn))
            ++cancels;
    }

    std::optional<std::uint64_t> wakeIn() const override {
        using std::chrono::microseconds;
        if (!wakesAt)
            return std::nullopt;
        const auto left = std::chrono::duration_cast<microseconds>(*wakesAt - Clock::now());
        return static_cast<std::uint64_t>(std::max<std::int64_t>(left.count(), 0));
    }

    void reset() override {
        isGone = false;
        wakesAt.reset();
        chosen = 0;
        ++resets;
        echoes.clear();
    }

private:
    Reply echo(std::uint32_t length) {
        if (wakesAt && Clock::now() >= *wakesAt) {
            wakesAt.reset();
            echoes.push_back({'l', 'a', 't', 'e'});
        }
        if (echoes.empty())
            return {};
        Bytes data = std::move(echoes.front());
        echoes.pop_front();
        if (data.size() > length) {
            echoes.emplace_front(data.begin() + length, data.end());
            data.resize(length);
        }
        return {Outcome::done, std::move(data)};
    }

    std::uint8_t chosen = 0;
    std::uint8_t resets = 0;
    std::uint8_t cancels = 0;
    bool isGone = false;
    Bytes stored;
    std::deque<Bytes> echoes;
    std::optional<Clock::time_point> wakesAt;
};

} // namespace

std::unique_ptr<Device> makeEchoDevice() {
    return std::make_unique<EchoDevice>();
}

} // namespace tavo::usbiptest
