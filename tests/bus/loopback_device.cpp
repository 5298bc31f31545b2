// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loopback_device.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tavo::bustest {
namespace {

using namespace tavo::virtualusb;
using Clock = std::chrono::steady_clock;

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
        chosen = low(setting);
        return Outcome::done;
    }

    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        switch (setup.request) {
        case kStore: stored.assign(data.begin(), data.end()); return Outcome::done;
        case kArmLate: lateAt = Clock::now() + std::chrono::milliseconds(setup.value); break;
        case kArmSource:
            sourceEnd = setup.value | std::size_t{setup.index} << 16;
            sourcePosition = 0;
            break;
        default: return Outcome::stalled;
        }
        return Outcome::done;
    }

    Reply controlIn(const SetupPacket& setup) override {
        switch (setup.request) {
        case kStore: {
            const auto count = std::min<std::size_t>(stored.size(), setup.length);
            return {Outcome::done, Bytes(stored.begin(), stored.begin() + std::ptrdiff_t(count))};
        }
        case kReadState: return {Outcome::done, {chosen, resets}};
        case kSilent: return {Outcome::nothing, {}};
        case kTooMuch: return {Outcome::done, Bytes(setup.length + std::size_t{1}, 0xee)};
        default: return {Outcome::stalled, {}};
        }
    }

    Outcome bulkOut(std::uint8_t endpoint, std::span<const std::uint8_t> data) override {
        if (endpoint == kRefusedOut)
            return Outcome::stalled;
        echoes.emplace_back(data.begin(), data.end());
        return Outcome::done;
    }

    Reply bulkIn(std::uint8_t endpoint, std::uint32_t length) override {
        switch (endpoint) {
        case kEchoIn: return echo(length);
        case kLateIn: return late();
        case kSourceIn: return source(length);
        default: return {Outcome::stalled, {}};
        }
    }

    std::optional<std::uint64_t> wakeIn() const override {
        if (!lateAt)
            return std::nullopt;
        const auto rest =
            std::chrono::duration_cast<std::chrono::microseconds>(*lateAt - Clock::now());
        return static_cast<std::uint64_t>(std::max<std::int64_t>(rest.count(), 0));
    }

    void reset() override {
        chosen = 0;
        ++resets;
        echoes.clear();
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

    Reply late() {
        if (!lateAt || Clock::now() < *lateAt)
            return {};
        lateAt.reset();
        return {Outcome::done, {0x5a}};
    }

    Reply source(std::uint32_t length) {
        const auto count = std::min<std::size_t>(length, sourceEnd - sourcePosition);
        if (count == 0)
            return {};
        Bytes data(count);
        for (std::uint8_t& byte : data)
            byte = sourceByte(sourcePosition++);
        return {Outcome::done, std::move(data)};
    }

    std::uint16_t product;
    std::uint8_t chosen = 0;
    std::uint8_t resets = 0;
    Bytes stored;
    std::deque<Bytes> echoes;
    std::optional<Clock::time_point> lateAt;
    std::size_t sourcePosition = 0;
    std::size_t sourceEnd = 0;
};

} // namespace

std::uint8_t sourceByte(std::size_t position) {
    return static_cast<std::uint8_t>(position * 7 + (position >> 8) + (position >> 16));
}

std::unique_ptr<Device> makeLoopback(std::uint16_t product) {
    return std::make_unique<Loopback>(product);
}

} // namespace tavo::bustest
