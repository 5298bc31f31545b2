// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loopback_device.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tavo::bustest {
namespace {

using namespace tavo::virtualusb;
using Clock = std::chrono::steady_clock;

// Standard requests to an endpoint.
constexpr std::uint8_t kToEndpoint = 0x02;
constexpr std::uint8_t kClearFeature = 0x01;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xff);
}

void addInterface(Bytes& bytes, std::uint8_t setting, std::uint8_t endpoints) {
    const Bytes descriptor{9, 4, 0, setting, endpoints, 0xff, 0, 0, 0};
    bytes.insert(bytes.end(), descriptor.begin(), descriptor.end());
}

void addBulkEndpoint(Bytes& bytes, std::uint8_t address) {
    const Bytes descriptor{7, 5, address, 2, 0x00, 0x02, 0};
    bytes.insert(bytes.end(), descriptor.begin(), descriptor.end());
}

class Loopback : public Device {
public:
    explicit Loopback(std::uint16_t productId) : product(productId) {}

    Bytes descriptors() const override {
        Bytes bytes{18,
                    1,
                    0x00,
                    0x02,
                    0xff,
                    0xff,
                    0xff,
                    64,
                    low(kVendor),
                    low(kVendor >> 8),
                    low(product),
                    low(product >> 8),
                    0x34,
                    0x12,
                    0,
                    0,
                    0,
                    1};
        const auto total = low(kDescriptorSize - 18);
        const Bytes configuration{9, 2, total, 0, 1, 1, 0, 0x80, 50};
        bytes.insert(bytes.end(), configuration.begin(), configuration.end());
        addInterface(bytes, 0, 0);
        addInterface(bytes, 1, 6);
        for (const auto endpoint : {kEchoOut, kEchoIn, kLateIn, kSourceIn, kRefusedOut, kRefusedIn})
            addBulkEndpoint(bytes, endpoint);
        return bytes;
    }

    Outcome setAlternateSetting(unsigned, unsigned setting) override {
        if (unplugged)
            return Outcome::gone;
        chosen = low(setting);
        return Outcome::done;
    }

    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        if (unplugged)
            return Outcome::gone;
        if (setup.requestType == kToEndpoint) {
            if (setup.request == kClearFeature)
                ++clearedHalts;
            return Outcome::done;
        }
        switch (setup.request) {
        case kStore: stored.assign(data.begin(), data.end()); return Outcome::done;
        case kArmLate: lateAt = Clock::now() + std::chrono::milliseconds(setup.value); break;
        case kArmSource: armSource(setup.value | std::size_t{setup.index} << 16); break;
        case kUnplug: unplug(setup.value); return Outcome::gone;
        case kRefuseOnce: refusesOnce = true; break;
        case kUnplugOnRead: unplugOnRead = setup.value; break;
        default: return Outcome::stalled;
        }
        return Outcome::done;
    }

    Reply controlIn(const SetupPacket& setup) override {
        if (unplugged)
            return {Outcome::gone, {}};
        switch (setup.request) {
        case kStore: {
            const auto count = std::min<std::size_t>(stored.size(), setup.length);
            return {Outcome::done, Bytes(stored.begin(), stored.begin() + std::ptrdiff_t(count))};
        }
        case kReadState: {
            Bytes state{chosen, resets, clearedHalts};
            state.resize(std::min<std::size_t>(state.size(), setup.length));
            return {Outcome::done, state};
        }
        case kSilent: return {Outcome::nothing, {}};
        case kTooMuch: return {Outcome::done, Bytes(setup.length + std::size_t{1}, 0xee)};
        default: return {Outcome::stalled, {}};
        }
    }

    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        if (unplugged)
            return Outcome::gone;
        if (endpoint == kRefusedOut || std::exchange(refusesOnce, false))
            return Outcome::stalled;
        echoes.emplace_back(data.begin(), data.end());
        return Outcome::done;
    }

    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        if (unplugged)
            return {Outcome::gone, {}};
        switch (endpoint) {
        case kEchoIn: return echo(length);
        case kLateIn: return late();
        case kSourceIn: return source(length);
        default: return {Outcome::stalled, {}};
        }
    }

    std::optional<std::uint64_t> wakeIn() const override {
        const auto& time = unplugged ? returnsAt : lateAt;
        if (!time)
            return std::nullopt;
        const auto rest =
            std::chrono::duration_cast<std::chrono::microseconds>(*time - Clock::now());
        return static_cast<std::uint64_t>(std::max<std::int64_t>(rest.count(), 0));
    }

    void reset() override {
        chosen = 0;
        ++resets;
        echoes.clear();
        unplugged = false;
    }

private:
    Reply echo(std::uint32_t length) {
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

    void unplug(std::uint16_t milliseconds) {
        unplugged = true;
        returnsAt.reset();
        if (milliseconds != 0xffff)
            returnsAt = Clock::now() + std::chrono::milliseconds(milliseconds);
    }

    void armSource(std::size_t count) {
        sourceBytes.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            sourceBytes[i] = sourceByte(i);
        sourcePosition = 0;
    }

    Reply late() {
        if (const auto time = std::exchange(unplugOnRead, std::nullopt)) {
            unplug(*time);
            return {Outcome::gone, {}};
        }
        if (!lateAt || Clock::now() < *lateAt)
            return {};
        lateAt.reset();
        return {Outcome::done, {0x5a}};
    }

    Reply source(std::uint32_t length) {
        const auto count = std::min<std::size_t>(length, sourceBytes.size() - sourcePosition);
        if (count == 0)
            return {};
        const auto begin = sourceBytes.begin() + static_cast<std::ptrdiff_t>(sourcePosition);
        sourcePosition += count;
        return {Outcome::done, Bytes(begin, begin + static_cast<std::ptrdiff_t>(count))};
    }

    std::uint16_t product;
    std::uint8_t chosen = 0;
    std::uint8_t resets = 0;
    Bytes stored;
    std::deque<Bytes> echoes;
    std::optional<Clock::time_point> lateAt;
    Bytes sourceBytes;
    std::size_t sourcePosition = 0;
    std::uint8_t clearedHalts = 0;
    bool unplugged = false;
    bool refusesOnce = false;
    std::optional<Clock::time_point> returnsAt;
    std::optional<std::uint16_t> unplugOnRead;
};

} // namespace

std::uint8_t sourceByte(std::size_t position) {
    return static_cast<std::uint8_t>(position * 7 + (position >> 8) + (position >> 16));
}

std::unique_ptr<Device> makeLoopback(std::uint16_t product) {
    return std::make_unique<Loopback>(product);
}

} // namespace tavo::bustest
