// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What all pending transfers of a bus may occupy together.
#include "bus_fixture.h"
#include "usb/transfer_memory.h"

#include <chrono>
#include <cstdio>

namespace tavo::bustest {
namespace {

constexpr std::uint32_t kMebibyte = 1 << 20;

class TransferMemoryTest : public BusTest {
protected:
    TransferMemoryTest() = default;
    explicit TransferMemoryTest(const virtualusb::BusOptions& options) : BusTest(options) {}

    Moved readSource(const Handle& handle, Bytes& data) {
        return bulk(handle, kSourceIn, data, 10 * kPatience);
    }
};

TEST_F(TransferMemoryTest, StockKernelRefusesSixteenMebibytes) {
    const Handle handle = openReady();
    ASSERT_TRUE(handle);
    ASSERT_EQ(command(handle, kArmSource, 15 * kMebibyte), 0);
    Bytes data(16 * kMebibyte);
    EXPECT_EQ(readSource(handle, data).error, LIBUSB_ERROR_NO_MEM);
    data.resize(15 * kMebibyte);
    const auto in = readSource(handle, data);
    EXPECT_EQ(in.error, 0) << "what was refused takes no memory";
    EXPECT_EQ(in.count, 15 * static_cast<int>(kMebibyte));
}

TEST_F(TransferMemoryTest, AllDevicesShareIt) {
    libusb_exit(context);
    bus.plug(makeLoopback(kProduct + 1));
    ASSERT_EQ(libusb_init(&context), 0);
    Handle first = openReady();
    const Handle second = openReady(kProduct + 1);
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    Pending pending{Bytes(10 * kMebibyte)};
    const auto transfer = startRead(first, kLateIn, pending);
    ASSERT_EQ(command(second, kArmSource, 7 * kMebibyte), 0);
    Bytes data(7 * kMebibyte);
    EXPECT_EQ(readSource(second, data).error, LIBUSB_ERROR_NO_MEM);
    ASSERT_EQ(libusb_cancel_transfer(transfer.get()), 0);
    while (!pending.done)
        ASSERT_EQ(libusb_handle_events(context), 0);
    EXPECT_EQ(readSource(second, data).error, 0);
}

TEST(TransferMemory, ShareIsGivenBack) {
    virtualusb::TransferMemory memory(1000);
    auto share = memory.reserve(600);
    EXPECT_TRUE(share);
    EXPECT_FALSE(memory.reserve(100)) << "with the kernel's own records it is too much";
    share.reset();
    EXPECT_TRUE(memory.reserve(600));
    EXPECT_TRUE(virtualusb::TransferMemory(0).reserve(std::size_t{1} << 40));
}

class UnlimitedMemoryTest : public TransferMemoryTest {
protected:
    UnlimitedMemoryTest() : TransferMemoryTest({.transferMemory = 0}) {}
};

TEST_F(UnlimitedMemoryTest, LargeReadIsComplete) {
    const Handle handle = openReady();
    ASSERT_TRUE(handle);
    constexpr std::uint32_t size = 24 << 20;
    ASSERT_EQ(command(handle, kArmSource, size), 0);
    Bytes data(size);
    const auto start = std::chrono::steady_clock::now();
    const auto in = bulk(handle, kSourceIn, data, 10 * kPatience);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(in.error, 0);
    ASSERT_EQ(in.count, static_cast<int>(size));
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < data.size(); ++i)
        wrong += data[i] != sourceByte(i);
    EXPECT_EQ(wrong, 0u);
    std::printf("24 MiB in one read: %.0f MB/s\n", size / 1e6 / time.count());
}

} // namespace
} // namespace tavo::bustest
