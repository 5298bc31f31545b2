// SPDX-License-Identifier: LGPL-2.1-or-later
#include "faults/faulty_device.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tavo::virtualusb::test {

namespace {

constexpr std::uint8_t kIn = 0x86;
constexpr std::uint8_t kOut = 0x04;
constexpr SetupPacket kVendorIn{0xC0, 0x7F, 0, 0, 4};
constexpr SetupPacket kVendorOut{0x40, 0x7F, 0, 0, 4};
constexpr SetupPacket kStandardIn{0x80, 6, 0x0300, 0, 255};
const Bytes kData{1, 2, 3, 4};

// Answers everything at once, or not at all while it is `silent`.
struct Willing final : Device {
    Bytes descriptors() const override { return {}; }
    Outcome setAlternateSetting(unsigned, unsigned) override { return Outcome::done; }
    Outcome controlOut(const SetupPacket& setup, std::span<const std::uint8_t> data) override {
        EXPECT_EQ(setup.length, data.size());
        return take(data);
    }
    Reply controlIn(const SetupPacket&) override { return give(); }
    Outcome bulkOut(std::uint8_t, std::span<const std::uint8_t> data) override {
        return take(data);
    }
    Reply bulkIn(std::uint8_t, std::uint32_t) override { return give(); }
    void cancelled(std::uint8_t endpoint) override { cancellations.push_back(endpoint); }
    std::optional<std::uint64_t> wakeIn() const override { return wake; }
    void reset() override { ++resets; }

    Outcome take(std::span<const std::uint8_t> data) {
        ++asked;
        offered.emplace_back(data.begin(), data.end());
        if (silent)
            return Outcome::nothing;
        taken.emplace_back(data.begin(), data.end());
        return Outcome::done;
    }
    Reply give() {
        ++asked;
        return silent ? Reply{} : Reply{Outcome::done, kData};
    }

    bool silent = false;
    unsigned asked = 0;
    unsigned resets = 0;
    std::vector<Bytes> offered; // whether it was taken or not
    std::vector<Bytes> taken;
    Bytes cancellations;
    std::optional<std::uint64_t> wake;
};

struct Bench {
    explicit Bench(std::initializer_list<const char*> faults, std::uint64_t seed = 1) {
        FaultPlan plan;
        plan.seed = seed;
        for (const char* fault : faults)
            addFault(plan, fault);
        auto made = std::make_unique<Willing>();
        inner = made.get();
        device = std::make_unique<FaultyDevice>(
            std::move(made), plan, [this] { return time; },
            [this](const std::string& line) { log.push_back(line); });
    }

    Outcome in() { return device->bulkIn(kIn, 4).outcome; }
    Outcome out() { return device->bulkOut(kOut, kData); }
    // What the device gets of a transfer that it takes only when it is offered once more.
    Bytes outAfter(unsigned refusals) {
        inner->offered.clear();
        inner->silent = true;
        for (unsigned count = 0; count < refusals; ++count)
            EXPECT_EQ(out(), Outcome::nothing);
        inner->silent = false;
        EXPECT_EQ(out(), Outcome::done);
        for (const Bytes& offer : inner->offered)
            EXPECT_EQ(offer, inner->offered.front()) << "one transfer is spoilt in one way";
        return inner->taken.back();
    }

    std::uint64_t time = 1000;
    std::vector<std::string> log;
    Willing* inner;
    std::unique_ptr<FaultyDevice> device;
};

} // namespace

TEST(FaultyDevice, IsTheDeviceItselfWithoutFaults) {
    Bench bench{};
    EXPECT_EQ(bench.in(), Outcome::done);
    EXPECT_EQ(bench.out(), Outcome::done);
    EXPECT_EQ(bench.device->controlIn(kVendorIn).data, kData);
    EXPECT_EQ(bench.device->controlOut(kVendorOut, kData), Outcome::done);
    EXPECT_EQ(bench.inner->taken, (std::vector<Bytes>{kData, kData}));
    bench.inner->wake = 7;
    EXPECT_EQ(bench.device->wakeIn(), 7U);
    EXPECT_TRUE(bench.log.empty());
}

TEST(FaultyDevice, StrikesOnlyWhereItIsTold) {
    Bench bench{"bulk-in:1:stall"};
    EXPECT_EQ(bench.in(), Outcome::stalled);
    EXPECT_EQ(bench.inner->asked, 0U);
    EXPECT_EQ(bench.out(), Outcome::done);
    EXPECT_EQ(bench.device->controlIn(kVendorIn).outcome, Outcome::done);
    EXPECT_EQ(bench.log, (std::vector<std::string>{"fault: bulk-in 0x86: stall"}));
}

TEST(FaultyDevice, LeavesWhatEveryUsbDeviceAnswersAlone) {
    Bench bench{"control-in:1:stall", "control-out:1:stall"};
    EXPECT_EQ(bench.device->controlIn(kStandardIn).outcome, Outcome::done);
    EXPECT_EQ(bench.device->setAlternateSetting(0, 1), Outcome::done);
    EXPECT_EQ(bench.device->controlOut({0x00, 9, 1, 0, 0}, {}), Outcome::done);
    EXPECT_EQ(bench.device->controlIn(kVendorIn).outcome, Outcome::stalled);
    EXPECT_EQ(bench.device->controlOut(kVendorOut, kData), Outcome::stalled);
}

TEST(FaultyDevice, KeepsSilentUntilTheHostGivesUp) {
    Bench bench{"bulk-in:1:timeout", "bulk-out:1:timeout"};
    EXPECT_EQ(bench.in(), Outcome::nothing);
    EXPECT_EQ(bench.in(), Outcome::nothing);
    EXPECT_EQ(bench.out(), Outcome::nothing);
    EXPECT_EQ(bench.inner->asked, 0U);
    EXPECT_EQ(bench.log.size(), 2U) << "the same request asked again is one fault";
    bench.device->cancelled(kIn);
    EXPECT_EQ(bench.inner->cancellations, Bytes{kIn});
    EXPECT_EQ(bench.in(), Outcome::nothing);
    EXPECT_EQ(bench.log.size(), 3U);
}

TEST(FaultyDevice, AnswersLate) {
    Bench bench{"bulk-in:1:late:20"};
    EXPECT_EQ(bench.in(), Outcome::nothing);
    EXPECT_EQ(bench.device->wakeIn(), 20000U);
    bench.inner->wake = 50;
    EXPECT_EQ(bench.device->wakeIn(), 50U) << "the earlier of both";
    bench.inner->wake.reset();
    bench.time += 19999;
    EXPECT_EQ(bench.in(), Outcome::nothing);
    EXPECT_EQ(bench.device->wakeIn(), 1U);
    bench.time += 1;
    EXPECT_EQ(bench.device->bulkIn(kIn, 4).data, kData);
    EXPECT_EQ(bench.device->wakeIn(), std::nullopt);
    EXPECT_EQ(bench.in(), Outcome::nothing) << "and the next one late again";
}

TEST(FaultyDevice, CutsDataShort) {
    Bench bench{"bulk-in:1:short", "bulk-out:1:short", "control-out:1:short"};
    for (int i = 0; i < 50; ++i) {
        const Bytes data = bench.device->bulkIn(kIn, 4).data;
        ASSERT_LT(data.size(), kData.size());
        ASSERT_TRUE(std::equal(data.begin(), data.end(), kData.begin()));
        ASSERT_EQ(bench.out(), Outcome::done);
        ASSERT_LT(bench.inner->taken.back().size(), kData.size());
    }
    EXPECT_EQ(bench.device->controlOut(kVendorOut, kData), Outcome::done);
}

TEST(FaultyDevice, ChangesOneByte) {
    Bench bench{"control-in:1:corrupt", "bulk-out:1:corrupt"};
    const auto differences = [](const Bytes& data) {
        int count = 0;
        for (std::size_t i = 0; i < kData.size(); ++i)
            count += data.at(i) != kData[i] ? 1 : 0;
        return count;
    };
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(differences(bench.device->controlIn(kVendorIn).data), 1);
        bench.out();
        EXPECT_EQ(differences(bench.inner->taken.back()), 1);
    }
}

TEST(FaultyDevice, ThrowsItsDiceOnceForARequest) {
    Bench bench{"bulk-in:0.5:stall"};
    bench.inner->silent = true;
    unsigned waiting = 0;
    int spared = 0;
    for (; spared < 100 && bench.in() != Outcome::nothing; ++spared) {
    }
    ASSERT_LT(spared, 100);
    for (; waiting < 200; ++waiting)
        ASSERT_EQ(bench.in(), Outcome::nothing) << "a request that was spared stays spared";
    bench.inner->silent = false;
    EXPECT_EQ(bench.in(), Outcome::done);
}

TEST(FaultyDevice, SpoilsATransferOnceHoweverOftenItIsOffered) {
    for (const char* fault : {"bulk-out:1:corrupt", "bulk-out:1:short"}) {
        Bench patient{fault};
        Bench prompt{fault};
        for (unsigned count = 0; count < 30; ++count)
            EXPECT_EQ(patient.outAfter(count), prompt.outAfter(0)) << fault << ", " << count;
    }
}

TEST(FaultyDevice, StrikesAsOftenAsToldAndTheSameForASeed) {
    const auto strikes = [](std::uint64_t seed) {
        Bench bench({"bulk-in:0.1:stall"}, seed);
        std::vector<int> hits;
        for (int i = 0; i < 2000; ++i)
            if (bench.in() == Outcome::stalled)
                hits.push_back(i);
        return hits;
    };
    const auto first = strikes(7);
    EXPECT_GT(first.size(), 150U);
    EXPECT_LT(first.size(), 250U);
    EXPECT_EQ(first, strikes(7));
    EXPECT_NE(first, strikes(8));
}

TEST(FaultyDevice, NeverStrikesWithProbabilityNought) {
    Bench bench{"bulk-in:0:stall"};
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(bench.in(), Outcome::done);
}

TEST(FaultyDevice, IsUnpluggedAfterSoManyRequests) {
    Bench bench{"unplug-after:3"};
    EXPECT_EQ(bench.in(), Outcome::done);
    EXPECT_EQ(bench.device->controlIn(kStandardIn).outcome, Outcome::done) << "does not count";
    EXPECT_EQ(bench.out(), Outcome::done);
    EXPECT_EQ(bench.device->controlIn(kVendorIn).outcome, Outcome::gone);
    EXPECT_EQ(bench.inner->asked, 3U) << "the last of the plan does not reach it";
    EXPECT_EQ(bench.in(), Outcome::gone);
    EXPECT_EQ(bench.out(), Outcome::gone);
    EXPECT_EQ(bench.device->controlIn(kVendorIn).outcome, Outcome::gone);
    EXPECT_EQ(bench.device->controlIn(kStandardIn).outcome, Outcome::gone);
    EXPECT_EQ(bench.device->controlOut(kVendorOut, kData), Outcome::gone);
    EXPECT_EQ(bench.device->controlOut({0x00, 9, 1, 0, 0}, {}), Outcome::gone);
    EXPECT_EQ(bench.device->setAlternateSetting(0, 1), Outcome::gone);
    EXPECT_EQ(bench.device->wakeIn(), std::nullopt);
    EXPECT_EQ(bench.log, (std::vector<std::string>{"fault: unplugged after 3 requests"}));
}

TEST(FaultyDevice, IsPluggedInAgain) {
    Bench bench{"unplug-after:1:250"};
    EXPECT_EQ(bench.in(), Outcome::gone);
    EXPECT_EQ(bench.device->wakeIn(), 250000U);
    bench.time += 100000;
    EXPECT_EQ(bench.in(), Outcome::gone);
    EXPECT_EQ(bench.device->wakeIn(), 150000U) << "since it was unplugged";
    bench.time += 200000;
    EXPECT_EQ(bench.device->wakeIn(), 0U);
    EXPECT_EQ(bench.in(), Outcome::gone) << "until the bus has plugged it in";
    bench.device->reset();
    EXPECT_EQ(bench.inner->resets, 1U);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(bench.in(), Outcome::done) << "only once";
}

TEST(FaultyDevice, StaysUnpluggedWhateverIsReset) {
    Bench forGood{"unplug-after:1"};
    Bench bench{"unplug-after:1:250"};
    for (Bench* each : {&forGood, &bench}) {
        EXPECT_EQ(each->in(), Outcome::gone);
        each->device->reset();
        each->time += 249999;
        each->device->reset();
        EXPECT_EQ(each->in(), Outcome::gone);
        EXPECT_EQ(each->inner->resets, 0U);
        each->time += 1;
        each->device->reset();
    }
    EXPECT_EQ(forGood.in(), Outcome::gone);
    EXPECT_EQ(bench.in(), Outcome::done);
}

TEST(FaultyDevice, CountsARequestOnceHoweverOftenItIsAsked) {
    Bench bench{"unplug-after:3"};
    bench.inner->silent = true;
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(bench.in(), Outcome::nothing);
    bench.device->cancelled(kIn);
    ASSERT_EQ(bench.in(), Outcome::nothing) << "the second";
    EXPECT_EQ(bench.out(), Outcome::gone);
    EXPECT_EQ(bench.in(), Outcome::gone) << "what was waiting, too";
}

} // namespace tavo::virtualusb::test
