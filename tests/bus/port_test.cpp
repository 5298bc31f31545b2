// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The order and the timing in which a port offers transfers to its device.
#include "usb/port.h"

#include "loopback_device.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

namespace tavo::bustest {
namespace {

using namespace tavo::virtualusb;

// Answers reads of up to `limit` bytes, in full; longer ones find nothing.
class LimitedDevice : public Device {
public:
    explicit LimitedDevice(std::uint32_t& limitNow) : limit(limitNow) {}

    Bytes descriptors() const override { return makeLoopback()->descriptors(); }
    Outcome setAlternateSetting(unsigned, unsigned) override { return Outcome::done; }
    Outcome controlOut(const SetupPacket&, std::span<const std::uint8_t>) override {
        return Outcome::done;
    }
    Reply controlIn(const SetupPacket&) override { return {Outcome::stalled, {}}; }
    Outcome bulkOut(std::uint8_t, std::span<const std::uint8_t>) override {
        return limit > 0 ? Outcome::done : Outcome::nothing;
    }
    Reply bulkIn(std::uint8_t, std::uint32_t length) override {
        return length > limit ? Reply{} : Reply{Outcome::done, Bytes(length)};
    }
    std::optional<std::uint64_t> wakeIn() const override { return 1'000'000; }
    void reset() override {}

private:
    std::uint32_t& limit;
};

class PortTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(port.claim(file, 0), 0);
        ASSERT_EQ(port.setInterface(file, 0, 1), 0);
    }

    Transfer transfer(std::uint8_t endpoint, std::uint32_t length) {
        Transfer result;
        result.file = file;
        result.endpoint = endpoint;
        result.length = length;
        result.finished = [this](Transfer& over) { finished.push_back(std::move(over)); };
        return result;
    }

    std::uint32_t limit = 0;
    Port port{std::make_unique<LimitedDevice>(limit)};
    FileNumber file = port.openFile();
    std::vector<Transfer> finished;
};

TEST_F(PortTest, LaterReadsDoNotOvertake) {
    ASSERT_EQ(port.submit(transfer(kEchoIn, 2048)), 0);
    limit = 1024;
    ASSERT_EQ(port.submit(transfer(kEchoIn, 1024)), 0);
    EXPECT_TRUE(finished.empty());
    ASSERT_EQ(port.submit(transfer(kSourceIn, 512)), 0) << "another endpoint";
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].moved, 512u);
    limit = 2048;
    port.service();
    ASSERT_EQ(finished.size(), 3u);
    EXPECT_EQ(finished[1].moved, 2048u);
    EXPECT_EQ(finished[2].moved, 1024u);
}

TEST_F(PortTest, WriteWaitsForRoom) {
    Transfer write = transfer(kEchoOut, 0);
    write.out = {1, 2, 3};
    ASSERT_EQ(port.submit(std::move(write)), 0);
    EXPECT_TRUE(finished.empty());
    limit = 1;
    port.service();
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].moved, 3u);
}

TEST_F(PortTest, WakesOnlyWhileSomethingWaits) {
    EXPECT_FALSE(port.nextService());
    ASSERT_EQ(port.submit(transfer(kEchoIn, 8)), 0);
    ASSERT_TRUE(port.nextService());
    EXPECT_GT(*port.nextService(), Clock::now());
}

TEST_F(PortTest, DeadlineComesBeforeTheDevicesWish) {
    Transfer read = transfer(kEchoIn, 8);
    const auto deadline = Clock::now() + std::chrono::microseconds(1);
    read.deadline = deadline;
    ASSERT_EQ(port.submit(std::move(read)), 0);
    if (finished.empty()) {
        EXPECT_EQ(port.nextService(), deadline);
    }
    while (Clock::now() < deadline) {
    }
    port.service();
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].status, -ETIMEDOUT);
}

TEST_F(PortTest, ResetCancelsAndUnclaims) {
    ASSERT_EQ(port.submit(transfer(kEchoIn, 8)), 0);
    port.reset();
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].status, -ENOENT);
    EXPECT_FALSE(port.isClaimed(0));
}

TEST_F(PortTest, FilesDoNotDiscardEachOthersTransfers) {
    const FileNumber other = port.openFile();
    Transfer read = transfer(kEchoIn, 8);
    read.tag = 77;
    ASSERT_EQ(port.submit(std::move(read)), 0);
    EXPECT_EQ(port.discard(other, 77), EINVAL);
    EXPECT_EQ(port.claim(other, 0), EBUSY);
    Transfer foreign = transfer(kEchoIn, 8);
    foreign.file = other;
    EXPECT_EQ(port.submit(std::move(foreign)), EBUSY);
    EXPECT_EQ(port.discard(file, 77), 0);
}

} // namespace
} // namespace tavo::bustest
